// Putting a trace between a connection and its link.
#pragma once

#include <memory>

#include <platform/bus/Trace.h>
#include <platform/bus/connection/Transport.h>

namespace Quarnix::Bus::Internal {

/// The trace that is set, or what the environment asks for; empty when there is none.
Shared::Pointer<Trace> currentTrace();

/// The link itself, or, where there is a trace, one around it that shows it every message.
std::shared_ptr<Transport> traced(std::shared_ptr<Transport> link);

}  // namespace Quarnix::Bus::Internal
