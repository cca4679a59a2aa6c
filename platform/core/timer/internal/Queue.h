// The process's one queue of deadlines, and the one thread that waits for them.
#pragma once

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/time/internal/Deadlines.h>
#include <platform/core/timer/QueueEntry.h>
#include <platform/core/timer/internal/EntryTree.h>

namespace Quarnix::Timer {

/// The first start makes the thread, which runs until the process ends. A forked child begins with an empty queue and
/// no thread. Nothing here needs memory but the making of the thread.
///
/// Threads: any. The mutex is the last that is taken but for a simulated clock's, and is not held while an entry runs.
class Queue final : private Time::Deadlines {
 public:
  static Queue& get() noexcept;

  /// Queues the entry with its present time; one that is queued begins anew, one that is retired stays out. 0, or the
  /// error number when the thread cannot be made: the entry is not queued then.
  int start(QueueEntry& entry) noexcept;
  void stop(QueueEntry& entry) noexcept;
  /// Changes the time that the next start uses.
  void setTime(QueueEntry& entry, const Time::Monotonic& time, bool relative) noexcept;
  bool isQueued(const QueueEntry& entry) noexcept;
  /// Keeps the entry out for good and waits until it does not run any more. False when it is the entry itself that runs
  /// and calls this.
  bool retire(QueueEntry& entry) noexcept;

 private:
  friend union NeverDestroyed<Queue>;
  Queue() noexcept;
  ~Queue() = default;

  void clockChanged() noexcept override;
  Time::Monotonic earliest() noexcept override;
  bool waitsOn(const ConditionVariable& condition) const noexcept override { return &condition == &work_; }

  void beginAnew() noexcept HEVRA_REQUIRES(mutex_);
  static void* threadBody(void* queue) noexcept;
  void run() noexcept;
  int ensureThread() noexcept HEVRA_REQUIRES(mutex_);
  bool wake() noexcept HEVRA_REQUIRES(mutex_);

  Mutex mutex_;
  ConditionVariable work_;  // for the thread
  ConditionVariable out_;   // for who retires an entry: it does not run any more
  EntryTree entries_ HEVRA_GUARDED_BY(mutex_);
  const QueueEntry* running_ HEVRA_GUARDED_BY(mutex_) = nullptr;
  Time::Monotonic waitsUntil_ HEVRA_GUARDED_BY(mutex_);  // while `waiting_`
  bool waiting_ HEVRA_GUARDED_BY(mutex_) = false;        // and nobody has woken the thread yet
  bool hasThread_ HEVRA_GUARDED_BY(mutex_) = false;
};

}  // namespace Quarnix::Timer
