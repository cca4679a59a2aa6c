// The timers of a loop.
#pragma once

#include <platform/core/dispatcher/internal/WakeUp.h>
#include <platform/core/timer/internal/Queue.h>

namespace Quarnix {

class Loop;

/// A queue of deadlines without a thread: the loop's descriptor wakes whoever dispatches. With the steady clock, the
/// descriptor's own timer does this. A simulated clock says when it has moved.
///
/// Threads: any; the dispatching thread calls the operations below.
class LoopTimers final : public Timer::Queue {
 public:
  LoopTimers(const Loop& loop, WakeUp& wakeUp) noexcept;
  /// The loop will run nothing any more.
  void close() noexcept { ignore(); }

  /// From here to `endRound`, a start wakes nobody, because `endRound` looks at the earliest deadline.
  void beginRound() noexcept;
  /// Runs what is due. What is started meanwhile waits for the next round, even if it is due.
  void runDue() noexcept;
  void endRound() noexcept;

  /// From here to `endWait`, whoever dispatches waits no longer than until the returned deadline.
  Time::Monotonic beginWait() noexcept;
  void endWait() noexcept;

 private:
  void clockChanged() noexcept override;
  bool isForeign() const noexcept override;
  bool isRunHere() const noexcept override;
  int prepare() noexcept override HEVRA_REQUIRES(mutex_) { return 0; }
  bool wake() noexcept override HEVRA_REQUIRES(mutex_);
  void notify() noexcept override {}
  /// Makes the descriptor readable at the earliest deadline.
  void rearm() noexcept HEVRA_REQUIRES(mutex_);

  const Loop& loop_;
  WakeUp& wakeUp_;
  Time::Monotonic armedFor_ HEVRA_GUARDED_BY(mutex_) =
      Time::Monotonic::never();                      // what the descriptor's timer is set to
  bool isAwaited_ HEVRA_GUARDED_BY(mutex_) = false;  // somebody waits until the earliest deadline, see `beginWait`
  unsigned waits_ HEVRA_GUARDED_BY(mutex_) = 0;      // that are over
  ConditionVariable waited_;                         // one more is over
};

}  // namespace Quarnix
