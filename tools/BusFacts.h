// Describes the bus and its users in texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

/// Returns where the bus is and what decided that.
std::string describePlace(const Context& context);
/// Returns the user's name and number, such as "root (0)".
std::string nameOfUser(std::uint32_t user);
/// Returns the unique name, the user and the process of a connection, as far as the bus knows them. With `isHere`, the
/// names of the user and of the program too, which only their own machine knows. Raises an error reply of the bus.
std::string describeOwner(Peer& bus, const std::string& owner, bool isHere);

/// What a bus tells about itself. A bus has no version; each fact is missing where the bus does not tell it.
struct BusIdentity {
  std::optional<std::string> id;  // of this run of the bus
  std::optional<std::vector<std::string>> features;
  std::optional<std::vector<std::string>> interfaces;  // beyond the usual ones
};

BusIdentity identify(Peer& bus);

/// What a report of a problem needs to know about this machine, the program and how it was started: texts, and null for
/// what is not there.
nlohmann::ordered_json describeSystem(const Context& context);

}  // namespace Quarnix::Hevra::Tools
