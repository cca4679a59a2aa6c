// SIGINT and SIGTERM as a descriptor, which any event loop can watch.
#pragma once

/// Blocks the two signals and returns a descriptor that is readable when one has come. Call it before the process has
/// other threads. Raises std::system_error. The descriptor stays open until the process ends.
int openStopSignals();
