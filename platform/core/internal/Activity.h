// How much work the process's tasks and timers have at the moment, so that a simulated clock knows when all is idle.
// Internal; it orders nothing and protects nothing.
#pragma once

#include <cstdint>

namespace Quarnix {

/// Threads: any. `begin` and `end` are one atomic operation each while nobody waits in `awaitNone`. Whoever hands work
/// on begins the other's before it ends its own, so that the count does not touch zero in between.
class Activity {
 public:
  static void begin() noexcept;
  static void end() noexcept;
  /// Returns once no work is under way.
  static void awaitNone();

  struct Figures {
    std::uint32_t underWay;
    std::uint32_t begun;  // since the beginning; wraps around
  };
  static Figures get() noexcept;

  /// Says that what the calling thread runs is counted here, for the rest of its life.
  static void countThisThread() noexcept;
  static bool isThisThreadCounted() noexcept;
};

}  // namespace Quarnix
