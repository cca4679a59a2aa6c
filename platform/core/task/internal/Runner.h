// The part of a task that exists once there is something to run: the thread and what it waits for.
#pragma once

#include <pthread.h>

#include <atomic>

#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <platform/core/task/internal/Stalled.h>

namespace Quarnix {

/// Threads: any. `retire` is the last call, and comes from another thread than the runner's own.
/// Ownership: the task has a reference, and so has each thread that is about to wake the runner's thread. The last one
/// deletes the runner.
class Task::Runner final : private Stalled::Entry {
 public:
  explicit Runner(Task& task) noexcept;

  /// The runner whose thread calls; null on other threads.
  static const Runner* current() noexcept;

  void schedule() noexcept { apply(true); }
  /// Looks again at whether the task is enabled.
  void reconsider() noexcept { apply(false); }
  /// Makes the thread unless it is there. Returns 0, or the error number.
  int makeThread() noexcept;
  /// Waits until the run that is under way, if any, is over.
  void awaitOut() noexcept;
  /// Ends the thread of a task that is marked as retired. Returns false in a forked child, where the thread has stayed
  /// behind: then do not touch this object any more, and do not release it.
  bool retire() noexcept;
  void release() noexcept;

 private:
  bool isOfThisProcess() const noexcept;
  static void* threadBody(void* runner) noexcept;
  void run() noexcept;
  void apply(bool scheduled) noexcept;
  bool tryAgain() noexcept override;
  /// Brings the members below in line with what is pending and whether the task is enabled. Returns 0, or the error
  /// number when the thread is needed and cannot be made.
  int update() noexcept HEVRA_REQUIRES(mutex_);
  bool isThreadToWake() const noexcept HEVRA_REQUIRES(mutex_);
  int ensureThread() noexcept HEVRA_REQUIRES(mutex_);

  ~Runner() = default;

  std::atomic<unsigned> references_{1};
  Task& task_;
  const unsigned forks_;
  Mutex mutex_;
  ConditionVariable work_;  // for the thread: there is something to run, or it is the end
  ConditionVariable out_;   // for others: a run is over
  pthread_t thread_ HEVRA_GUARDED_BY(mutex_) = {};
  unsigned int runs_ HEVRA_GUARDED_BY(mutex_) = 0;
  bool hasThread_ HEVRA_GUARDED_BY(mutex_) = false;
  bool pending_ HEVRA_GUARDED_BY(mutex_) = false;
  bool running_ HEVRA_GUARDED_BY(mutex_) = false;
  bool counted_ HEVRA_GUARDED_BY(mutex_) = false;
  bool ending_ HEVRA_GUARDED_BY(mutex_) = false;
};

}  // namespace Quarnix
