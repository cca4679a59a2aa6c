// The bus of another machine, which the option --host names.
#pragma once

#include <string>

namespace Quarnix::Hevra::Cli {

/// Returns the bus address for [USER@]HOST: ssh runs the program systemd-stdio-bridge there, which connects its
/// standard streams to the system bus. When one of them is missing, the error of the connection says which. Raises
/// Malformed for a text that ssh could take for something else than a host.
std::string addressOfHost(const std::string& host);

}  // namespace Quarnix::Hevra::Cli
