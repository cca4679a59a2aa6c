// Connects to the bus that the option --bus names.
#pragma once

#include <string>

#include <platform/bus/Connection.h>

namespace Quarnix::Hevra::Cli {

/// Returns a connection to `where`: "system", "session" or a bus address. When `where` is empty, the environment
/// variable HEVRA_BUS says where the bus is; without it, the system bus is taken. Raises Malformed for anything else,
/// and Bus::StartFailed when the environment has no such well-known bus.
Shared::Pointer<Bus::Connection> openBus(const std::string& where);

}  // namespace Quarnix::Hevra::Cli
