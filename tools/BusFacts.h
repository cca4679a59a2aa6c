// Describes the bus and its users in texts.
#pragma once

#include <cstdint>
#include <string>

#include <platform/bus/Connection.h>

namespace Quarnix::Hevra::Tools {

/// Returns where the bus is and what decided that. `option` is the value of --bus, or empty.
std::string describePlace(const std::string& option);
/// Returns the user's name and number, such as "root (0)".
std::string nameOfUser(std::uint32_t user);
/// Returns the unique name, the user and the process of a connection, as far as the bus knows them. Raises an error
/// reply of the bus.
std::string describeOwner(const Shared::Pointer<Bus::Connection>& connection, const std::string& owner);

}  // namespace Quarnix::Hevra::Tools
