// Tells a forked child from the process in which an object was made.
#pragma once

namespace Quarnix {

/// Returns how many forks lie between this process and the one that called it first. An object with threads keeps the
/// count of its making. When the count is another one, the threads have stayed behind in a parent, and the mutexes are
/// in any state.
unsigned forkCount() noexcept;

}  // namespace Quarnix
