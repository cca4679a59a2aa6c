// How the platform makes its threads. Internal; a thread here is what a task or the timer queue runs on, nothing to
// join work with.
#pragma once

#include <pthread.h>

namespace Quarnix {

/// Makes a thread that runs `body(argument)` under `name` (at most 15 bytes) with `stackSize` bytes of stack besides
/// what the runtime itself needs. It takes no signals but those of its own faults, so that the application's handlers
/// run on the application's threads. 0, or the error number.
int startThread(pthread_t& thread, unsigned int stackSize, const char* name, void* (*body)(void*),
                void* argument) noexcept;

}  // namespace Quarnix
