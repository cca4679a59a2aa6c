// What people want to know of the bus and of those on it, as texts.
#pragma once

#include <cstdint>
#include <string>

#include <platform/bus/Connection.h>

namespace Quarnix::Hevra::Tools {

/// Where the bus is, and who says so: `option` is what --bus was given, or empty.
std::string describePlace(const std::string& option);
/// "root (0)".
std::string nameOfUser(std::uint32_t user);
/// The unique name, the user and the process of a connection, as far as the bus knows them. An error reply is thrown.
std::string describeOwner(const Shared::Pointer<Bus::Connection>& connection, const std::string& owner);

}  // namespace Quarnix::Hevra::Tools
