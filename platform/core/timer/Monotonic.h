// A one-shot timer of the process's clock.
#pragma once

#include <platform/core/Task.h>
#include <platform/core/time/Monotonic.h>
#include <platform/core/timer/QueueEntry.h>

namespace Quarnix::Timer {

/// Runs `expired` once its time has come, on the one timer thread of the process or on its dispatcher.
///
/// With n timers running, `start` and `stop` take O(log n) steps. They make no system call unless the earliest deadline
/// changes. Timers with one deadline expire in the order of their starts. A copy has the same time and is not running.
/// All timers share the stack of the timer thread, 256 KiB besides what the runtime needs, whatever their own stack
/// sizes are.
///
/// Threads: `start`, `stop` and `setTime` from any thread, though not while the timer is being destroyed. `stop` keeps
/// an expiry from beginning and does not wait for one that is under way. `retire` does wait; it is the first act of the
/// destructor of a class that overrides `expired`. Give it a dispatcher before you use any of these.
class HEVRA_EXPORT Monotonic : public Task, private QueueEntry {
 public:
  /// `relative`: `time` counts from `start`; otherwise it is a point of the process's clock.
  Monotonic(const Time::Monotonic& time, bool relative) noexcept;
  Monotonic(const Monotonic& other) noexcept;
  Monotonic& operator=(const Monotonic&) = delete;
  ~Monotonic() override;

  /// Starts the timer with its present time; a running timer begins anew. A retired timer does not start.
  /// Raises std::system_error when the process's timer thread, which the first start of all makes, cannot be made, or
  /// when the dispatcher is that of a parent process; the timer does not run then. Otherwise a start cannot fail: it
  /// needs no memory.
  void start();
  void stop() noexcept;
  /// Changes the time that the next `start` uses; a running deadline does not move.
  void setTime(const Time::Monotonic& time, bool relative) noexcept;
  bool isRunning() const noexcept;

  /// The same as `start` and `stop`.
  void enable() override;
  void disable() override;

 protected:
  /// The hook, with the deadline that was reached. It may start and stop this timer, and must not destroy it.
  virtual void expired(const Time::Monotonic& deadline) = 0;

  /// Stops the timer for good: `expired` does not run when it returns, and never will. Called from `expired` itself, it
  /// logs that and ends the process.
  void retire() noexcept;

 private:
  void deadlineReached(const Time::Monotonic& deadline) noexcept final;
};

}  // namespace Quarnix::Timer
