// Bus addresses: where a bus listens.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Quarnix::Bus::Internal {

/// A Unix-domain socket, or a program that connects its standard streams to a bus.
struct Address {
  std::string path;  // of the socket; in the abstract namespace it begins with a NUL. Or of the program, see execvp
  std::string guid = {};                    // the identifier that the bus there must have; empty for any
  std::vector<std::string> arguments = {};  // of the program, from its own name on; empty for a socket

  bool isProgram() const noexcept { return !arguments.empty(); }
};

/// Reads addresses of the forms "unix:path=...", "unix:abstract=..." and "unixexec:path=...,argv1=...", with or without
/// "guid=...", with %-escapes, and with ';' between two. It ignores addresses of other transports. Raises
/// InvalidArgument, which names the text and what was expected, if an address is malformed or none is left.
std::vector<Address> parseAddresses(std::string_view text);

/// The addresses of the system bus and of the session bus. The environment names them; otherwise the system bus is at
/// its standard path. Raises InvalidArgument as parseAddresses does, and if the environment names no session bus.
std::vector<Address> systemBusAddresses();
std::vector<Address> sessionBusAddresses();

}  // namespace Quarnix::Bus::Internal
