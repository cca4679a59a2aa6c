// Makes the platform's threads, on which the tasks and the timer queue run.
#pragma once

#include <pthread.h>

namespace Quarnix {

/// Makes a thread that runs `body(argument)` under `name` (at most 15 bytes) with `stackSize` bytes of stack besides
/// what the runtime itself needs. The thread takes no signals but those of its own faults, so that the application's
/// handlers run on the application's threads. Returns 0, or the error number.
int startThread(pthread_t& thread, unsigned int stackSize, const char* name, void* (*body)(void*),
                void* argument) noexcept;

}  // namespace Quarnix
