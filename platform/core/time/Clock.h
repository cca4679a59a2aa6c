// The process's monotonic time, and all waits that end at a deadline.
#pragma once

#include <poll.h>

#include <platform/core/Export.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Time {

/// Tells the time and waits. It is the steady clock of the system unless a process installs another (SimulatedClock).
///
/// Threads: every operation may be called from any thread.
class HEVRA_EXPORT Clock {
 public:
  virtual ~Clock();

  virtual Monotonic now() const = 0;

  /// Waits on `condition`, whose mutex the caller holds, until it is notified or `deadline` is reached. It may return
  /// for no reason. Returns false when the deadline has been reached. The mutex is free while it waits and held on
  /// return.
  virtual bool wait(ConditionVariable& condition, Mutex& mutex, const Monotonic& deadline) HEVRA_REQUIRES(mutex) = 0;

  /// Waits as poll(2) does, until `deadline`. Returns the number of descriptors with events, 0 at the deadline, -1 with
  /// errno set (EINTR included). `descriptors` must have room for one more entry behind `count`, for the clock's own
  /// use.
  virtual int poll(pollfd* descriptors, nfds_t count, const Monotonic& deadline) = 0;

  /// The clock in force.
  static Clock& get() noexcept;
  /// Puts `clock` in force; null puts the steady clock back. You keep the clock, which must outlive its use. Call it
  /// while nothing waits and no timer runs, as at the beginning and the end of a test.
  static void install(Clock* clock) noexcept;
};

}  // namespace Quarnix::Time
