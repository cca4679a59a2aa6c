// The timers of a loop.
#pragma once

#include <platform/core/dispatcher/internal/WakeUp.h>
#include <platform/core/timer/internal/Queue.h>

namespace Quarnix {

class Loop;

/// A queue of deadlines that nobody waits for in particular: the loop's descriptor wakes whoever dispatches. With the
/// steady clock this is the set's timer. With another one, the clock says when it has moved.
///
/// Threads: any; the dispatching thread calls `beginRound`, `runDue` and `endRound` in this order, and `beginWait` and
/// `endWait`.
class LoopTimers final : public Timer::Queue {
 public:
  LoopTimers(const Loop& loop, WakeUp& wakeUp) noexcept;
  ~LoopTimers();

  /// Until `endRound`, no start wakes anybody.
  void beginRound() noexcept;
  /// Runs what is due. What is started meanwhile waits for the next round, even if it is due.
  void runDue() noexcept;
  void endRound() noexcept;

  /// Until `endWait`, whoever dispatches waits no longer than until the returned deadline. An earlier one wakes it.
  Time::Monotonic beginWait() noexcept;
  void endWait() noexcept;

 private:
  void clockChanged() noexcept override;
  bool isForeign() const noexcept override;
  bool isOwnThread() const noexcept override;
  int prepare() noexcept override HEVRA_REQUIRES(mutex_) { return 0; }
  bool wake() noexcept override HEVRA_REQUIRES(mutex_);
  void notify() noexcept override {}
  /// Wakes whoever dispatches at the earliest deadline.
  void rearm() noexcept HEVRA_REQUIRES(mutex_);

  const Loop& loop_;
  WakeUp& wakeUp_;
  Time::Monotonic armedFor_ HEVRA_GUARDED_BY(mutex_) = Time::Monotonic::never();  // what the set's timer is set to
  bool isAwaited_ HEVRA_GUARDED_BY(mutex_) = false;                               // between `beginWait` and `endWait`
};

}  // namespace Quarnix
