// Telling a forked child from the process in which something was made.
#pragma once

namespace Quarnix {

/// How many forks lie between this process and the one that called it first. What belongs to threads keeps the count of
/// its making: with another one, its threads have stayed behind in a parent, and its mutexes are in any state.
unsigned forkCount() noexcept;

}  // namespace Quarnix
