// The one ordered queue of the process's running timers, and the one thread that runs them. Internal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/timer/Monotonic.h>

namespace Quarnix::Timer {

/// Made on first use and never destroyed; the thread is made with the first start and ends with the process. A forked
/// child begins with an empty queue.
///
/// Threads: any. The mutex is the last that is taken but for a simulated clock's, and is not held while a timer's hook
/// runs.
class Queue {
 public:
  static Queue& get() noexcept;

  void start(Monotonic& timer);
  void stop(Monotonic& timer) noexcept;
  void setTime(Monotonic& timer, const Time::Monotonic& time, bool relative) noexcept;
  bool isQueued(const Monotonic& timer) noexcept;
  void retire(Monotonic& timer) noexcept;

  /// Has the thread look again at the clock, which has moved or is another one.
  void reconsider() noexcept;
  /// The earliest deadline, or never.
  Time::Monotonic earliest() noexcept;
  /// Whether a wait on `condition` is that of the thread when it has nothing to run.
  bool waitsOn(const ConditionVariable& condition) const noexcept { return &condition == &work_; }

 private:
  struct Entry {
    std::int64_t deadline;
    std::uint64_t sequence;  // of the start: orders equal deadlines
    Monotonic* timer;
  };

  friend union NeverDestroyed<Queue>;
  Queue() noexcept;
  ~Queue() = default;
  void beginAnew() noexcept HEVRA_REQUIRES(mutex_);
  static bool isEarlier(const Entry& a, const Entry& b) noexcept;
  static void* threadBody(void* queue) noexcept;
  void run();
  void ensureThread() HEVRA_REQUIRES(mutex_);
  bool wake() noexcept HEVRA_REQUIRES(mutex_);

  void place(std::size_t index, const Entry& entry) noexcept HEVRA_REQUIRES(mutex_);
  void moveUp(std::size_t index, const Entry& entry) noexcept HEVRA_REQUIRES(mutex_);
  void moveDown(std::size_t index, const Entry& entry) noexcept HEVRA_REQUIRES(mutex_);
  void settle(std::size_t index, const Entry& entry) noexcept HEVRA_REQUIRES(mutex_);
  void remove(Monotonic& timer) noexcept HEVRA_REQUIRES(mutex_);
  void takePlace(Monotonic& timer) HEVRA_REQUIRES(mutex_);
  void givePlaceBack() noexcept HEVRA_REQUIRES(mutex_);
  static bool isIn(const Monotonic& timer) noexcept { return timer.index_ < Monotonic::NEVER_STARTED; }

  Mutex mutex_;
  ConditionVariable work_;                            // for the thread
  ConditionVariable out_;                             // for who retires a timer: its hook is over
  std::vector<Entry> heap_ HEVRA_GUARDED_BY(mutex_);  // four children a node
  std::size_t places_ HEVRA_GUARDED_BY(mutex_) = 0;   // timers that have been started and are not retired
  std::uint64_t starts_ HEVRA_GUARDED_BY(mutex_) = 0;
  const Monotonic* running_ HEVRA_GUARDED_BY(mutex_) = nullptr;
  std::int64_t waitsUntil_ HEVRA_GUARDED_BY(mutex_) = 0;  // while `waiting_`
  bool waiting_ HEVRA_GUARDED_BY(mutex_) = false;         // and nobody has woken the thread yet
  bool hasThread_ HEVRA_GUARDED_BY(mutex_) = false;
};

}  // namespace Quarnix::Timer
