// Bus addresses: where a bus listens.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quarnix::Bus::Internal {

/// A Unix-domain socket. `path` begins with a NUL for one in the abstract namespace.
struct Address {
  std::string path;
  std::string guid = {};  // what the bus there must call itself; empty where that is not given
};

/// Reads "unix:path=..." and "unix:abstract=...", each also with "guid=...", with %-escapes, several behind ';'.
/// Entries of other transports are passed over; raises InvalidArgument, naming the text and what was expected, when an
/// entry is malformed or none is left.
std::vector<Address> parseAddresses(std::string_view text);

/// The addresses of the system bus and of the session bus, from the environment or, for the system bus, the standard
/// path. Raises InvalidArgument as parseAddresses does, and when there is no session bus.
std::vector<Address> systemBusAddresses();
std::vector<Address> sessionBusAddresses();

}  // namespace Quarnix::Bus::Internal
