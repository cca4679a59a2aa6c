// Bus addresses: where a bus listens.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quarnix::Bus::Internal {

/// A Unix-domain socket. In the abstract namespace, `path` begins with a NUL.
struct Address {
  std::string path;
  std::string guid = {};  // the identifier that the bus there must have; empty for any
};

/// Reads addresses of the forms "unix:path=..." and "unix:abstract=...", with or without "guid=...", with %-escapes,
/// and with ';' between two. It ignores addresses of other transports. Raises InvalidArgument, which names the text and
/// what was expected, if an address is malformed or none is left.
std::vector<Address> parseAddresses(std::string_view text);

/// The addresses of the system bus and of the session bus. The environment names them; otherwise the system bus is at
/// its standard path. Raises InvalidArgument as parseAddresses does, and if the environment names no session bus.
std::vector<Address> systemBusAddresses();
std::vector<Address> sessionBusAddresses();

}  // namespace Quarnix::Bus::Internal
