// Puts a trace between a connection and its link.
#pragma once

#include <memory>

#include <platform/bus/Trace.h>
#include <platform/bus/connection/Transport.h>

namespace Quarnix::Bus::Internal {

/// The trace that is set, or the one that the environment asks for; empty for none.
Shared::Pointer<Trace> currentTrace();

/// Whether there is one.
bool isTraced();

/// The link itself, or, if there is a trace, a link around it that shows every message to the trace.
std::shared_ptr<Transport> traced(std::shared_ptr<Transport> link);

}  // namespace Quarnix::Bus::Internal
