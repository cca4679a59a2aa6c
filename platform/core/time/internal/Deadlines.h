// The timers that have a thread, as a simulated clock sees them.
#pragma once

#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Time {

/// The deadlines at which a simulated clock stops on its way, because the process's timer thread runs something then.
/// The queue of this thread implements it; until there is one, there are no deadlines.
///
/// Threads: any.
class Deadlines {
 public:
  static Deadlines& get() noexcept;

  /// The earliest deadline, or never.
  virtual Monotonic earliest() noexcept = 0;
  /// Whether a wait on `condition` is the one for the earliest deadline.
  virtual bool waitsOn(const ConditionVariable& condition) const noexcept = 0;

 protected:
  Deadlines() = default;
  Deadlines(const Deadlines&) = delete;
  Deadlines& operator=(const Deadlines&) = delete;
  ~Deadlines() = default;

  /// Makes `deadlines` those of the process, for the rest of its life.
  static void install(Deadlines& deadlines) noexcept;
};

}  // namespace Quarnix::Time
