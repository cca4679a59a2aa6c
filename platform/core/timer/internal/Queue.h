// A queue of deadlines. A derived class says who waits for them.
#pragma once

#include <cstdint>
#include <limits>

#include <platform/core/Mutex.h>
#include <platform/core/time/internal/ClockObserver.h>
#include <platform/core/timer/QueueEntry.h>
#include <platform/core/timer/internal/EntryTree.h>

namespace Quarnix::Timer {

/// Nothing here needs memory.
///
/// Threads: any. The mutex is the last that is taken but for a simulated clock's, and is not held while an entry runs.
class Queue : protected Time::ClockObserver {
 public:
  /// Queues the entry with its present time; one that is queued begins anew, one that is retired stays out. Returns 0,
  /// or the error number if nobody would wait for it: the entry is not queued then.
  int start(QueueEntry& entry) noexcept;
  void stop(QueueEntry& entry) noexcept;
  /// Changes the time that the next start uses.
  void setTime(QueueEntry& entry, const Time::Monotonic& time, bool relative) noexcept;
  bool isQueued(const QueueEntry& entry) noexcept;
  /// Keeps the entry out for good and waits until it does not run any more. False when it is the entry itself that runs
  /// and calls this.
  bool retire(QueueEntry& entry) noexcept;
  /// The earliest deadline, or never.
  Time::Monotonic getEarliest() noexcept;

 protected:
  /// Before all times.
  static constexpr Time::Monotonic AT_ONCE{Time::Elapsed::ofNanoseconds(std::numeric_limits<std::int64_t>::min())};

  Queue() = default;
  ~Queue() = default;

  Time::Monotonic firstDeadline() const noexcept HEVRA_REQUIRES(mutex_);
  /// Runs the earliest entry, with the mutex free.
  void runEarliest() noexcept HEVRA_REQUIRES(mutex_);
  /// Runs the entries that are due at `now`, in order. What is started meanwhile stays, even if it is due.
  void runRound(const Time::Monotonic& now) noexcept HEVRA_REQUIRES(mutex_);
  /// In a forked child: all entries stay in the parent.
  void beginAnew() noexcept HEVRA_REQUIRES(mutex_);

  Mutex mutex_;
  /// When whoever waits looks at the queue again; AT_ONCE while it does not wait.
  Time::Monotonic waitsUntil_ HEVRA_GUARDED_BY(mutex_) = AT_ONCE;

 private:
  /// Whether this queue is a parent's, and this process its forked child. Then every operation does nothing, because
  /// the mutex may be in any state.
  virtual bool isForeign() const noexcept = 0;
  /// Whether the calling thread runs the entries.
  virtual bool isRunHere() const noexcept = 0;
  /// Makes sure that somebody will wait. Returns 0, or the error number.
  virtual int prepare() noexcept HEVRA_REQUIRES(mutex_) = 0;
  /// The earliest deadline is before `waitsUntil_`. Returns true if `notify` is to be called when the mutex is free.
  virtual bool wake() noexcept HEVRA_REQUIRES(mutex_) = 0;
  virtual void notify() noexcept = 0;

  void remove(QueueEntry& entry) noexcept HEVRA_REQUIRES(mutex_);

  ConditionVariable out_;  // for who retires an entry: it does not run any more
  EntryTree entries_ HEVRA_GUARDED_BY(mutex_);
  EntryTree late_ HEVRA_GUARDED_BY(mutex_);  // started during a round, and due before its end
  Time::Monotonic roundEnd_ HEVRA_GUARDED_BY(mutex_) =
      AT_ONCE;  // entries of the round are due before; AT_ONCE: no round
  const QueueEntry* running_ HEVRA_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace Quarnix::Timer
