// A one-shot timer of the process's clock.
#pragma once

#include <cstdint>

#include <platform/core/Task.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Timer {

class Queue;

/// Runs `expired` once its time has come, on the one timer thread of the process.
///
/// `start`, `stop` and starting again cost O(log n) of the running timers and make no system call unless the earliest
/// deadline changes. Timers with one deadline expire in the order of their starts. A copy has the same time and is not
/// running. All timers share the stack of the timer thread, 256 KiB besides what the runtime needs, whatever their own
/// stack sizes say.
///
/// Threads: `start`, `stop`, `setTime` from any thread, though not while the timer is being destroyed. `stop` keeps an
/// expiry from beginning and does not wait for one that is under way; `retire` (the first act of the destructor of
/// whoever overrides `expired`) does.
class HEVRA_EXPORT Monotonic : public Task {
 public:
  /// `relative`: `time` counts from `start`; otherwise it is a point of the process's clock.
  Monotonic(const Time::Monotonic& time, bool relative) noexcept;
  Monotonic(const Monotonic& other) noexcept;
  Monotonic& operator=(const Monotonic&) = delete;
  ~Monotonic() override;

  /// Starts it with its present time; a running timer begins anew. Nothing happens once it is retired.
  /// The first start raises std::bad_alloc, and std::system_error when the process's timer thread cannot be made; the
  /// timer does not run then. Later starts cannot fail: the timer keeps its place in the queue's memory.
  void start();
  void stop() noexcept;
  /// Changes the time that the next `start` uses; a running deadline does not move.
  void setTime(const Time::Monotonic& time, bool relative) noexcept;
  bool isRunning() const noexcept;

  /// The same as `start` and `stop`.
  void enable() override;
  void disable() override;

 protected:
  /// The hook: the deadline that was reached. It may start and stop this timer, and must not destroy it.
  virtual void expired(const Time::Monotonic& deadline) = 0;

  /// Stops it for good: `expired` is not inside when it returns and will not be entered. Called from `expired` itself
  /// it says so and ends the process.
  void retire() noexcept;

 private:
  friend class Queue;
  static constexpr std::uint32_t NOT_QUEUED = UINT32_MAX;
  static constexpr std::uint32_t RETIRED = UINT32_MAX - 1;
  static constexpr std::uint32_t NEVER_STARTED = UINT32_MAX - 2;

  // Guarded by the queue's mutex.
  bool relative_;
  std::uint32_t index_ = NEVER_STARTED;  // where it stands in the queue
  Time::Monotonic time_;
};

}  // namespace Quarnix::Timer
