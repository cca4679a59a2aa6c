// Where the bus is, as the option --bus of the programs says it.
#pragma once

#include <string>

#include <platform/bus/Connection.h>

namespace Quarnix::Hevra::Stack::Forms {

/// A connection to `where`: "system", "session" or a bus address; when it is empty, to what the environment variable
/// HEVRA_BUS names, else to the system bus. Raises Malformed for anything else, and Bus::StartFailed when the
/// environment names no such bus.
Shared::Pointer<Bus::Connection> openBus(const std::string& where);

}  // namespace Quarnix::Hevra::Stack::Forms
