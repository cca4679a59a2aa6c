// Counts the work that the process's own threads, those of tasks and of timers, have at the moment, so that a simulated
// clock knows when all is idle. What a dispatcher runs is not counted. It orders nothing and protects nothing.
#pragma once

#include <cstdint>

namespace Quarnix {

/// Threads: any. `begin` and `end` are one atomic operation each while nobody waits in `awaitNone`. A thread that hands
/// work to another begins the other's work before it ends its own, so that the count does not reach zero in between.
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

  /// Marks the calling thread, for the rest of its life: the work that it runs is counted here.
  static void countThisThread() noexcept;
  static bool isThisThreadCounted() noexcept;
};

}  // namespace Quarnix
