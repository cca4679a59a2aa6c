// Runs a task's body on a thread of the task's own.
#pragma once

#include <pthread.h>

#include <atomic>

#include <platform/core/Mutex.h>
#include <platform/core/task/internal/Runner.h>
#include <platform/core/task/internal/Stalled.h>

namespace Quarnix {

/// Makes the thread when there is first something to run, and keeps it until the task is retired.
///
/// Ownership: the task has a reference, and so has each thread that is about to wake the runner's thread. The last one
/// deletes the runner. In a forked child, where the thread has stayed behind in the parent, `retire` leaves it alone.
class Task::ThreadRunner final : public Runner, private Stalled::Entry {
 public:
  explicit ThreadRunner(Task& task) noexcept;

  void schedule() noexcept override { apply(true); }
  void reconsider() noexcept override { apply(false); }
  int prepare() noexcept override;
  void awaitOut() noexcept override;
  void retire() noexcept override;

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
  void release() noexcept;

  ~ThreadRunner() = default;

  std::atomic<unsigned> references_{1};
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
