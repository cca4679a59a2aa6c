// A clock that stands still until you advance it, for tests of code that depends on time.
#pragma once

#include <cstddef>
#include <memory>

#include <platform/core/time/Clock.h>

namespace Quarnix::Time {

/// The clock installs itself for the time of its life. `advance` moves the time from one deadline to the next, wakes
/// the threads that wait for it, and returns when every task and timer of the process is idle again. A test that
/// advances by 60 seconds thus sees all that happens within them, in microseconds of real time.
///
/// Callbacks run on their own tasks, never on the advancing thread. What a Dispatcher runs is not waited for: advance,
/// and dispatch then; it runs what has become due in the order of the deadlines. Call `advance` and `settle` from one
/// thread that is no task's and that holds no lock. A hook that waits on this clock, for a reply for example, is idle
/// until it is notified or its time comes. When the clock is destroyed, the waits that are still under way return as if
/// for no reason.
class HEVRA_EXPORT SimulatedClock : public Clock {
 public:
  explicit SimulatedClock(const Monotonic& start = Monotonic(Elapsed(1'000'000, 0)));
  ~SimulatedClock() override;

  /// Moves the time by `span`, from one deadline within it to the next, and waits until all is idle before, in between
  /// and at the end. Returns how many waits of threads reached their deadline; timers do not count. Raises
  /// std::invalid_argument for a span below zero.
  std::size_t advance(const Elapsed& span);
  /// Waits until no task of the process has anything to run and no timer is due, without moving the time.
  void settle();
  /// Waits until at least `count` waits with a deadline (threads, sockets) are under way on this clock. Call it before
  /// you advance, so that another thread's call really waits by then. The waits of hooks do not count, because
  /// `advance` sees to them.
  void awaitWaiters(std::size_t count);

  Monotonic now() const override;
  bool wait(ConditionVariable& condition, Mutex& mutex, const Monotonic& deadline) override HEVRA_REQUIRES(mutex);
  int poll(pollfd* descriptors, nfds_t count, const Monotonic& deadline) override;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace Quarnix::Time
