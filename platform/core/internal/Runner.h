// The part of a task that exists only once there is something to run: its thread and what the thread waits for.
#pragma once

#include <pthread.h>

#include <atomic>

#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <platform/core/internal/Stalled.h>

namespace Quarnix {

/// Threads: any, except `retire`, which is the last call and not the own thread's.
/// Ownership: the task's reference, and one of each thread that is about to wake the runner's; the last deletes it.
class Task::Runner final : private Stalled::Entry {
 public:
  explicit Runner(Task& task) noexcept;

  /// The runner whose thread calls; null on other threads.
  static const Runner* current() noexcept;

  void schedule() noexcept { apply(true); }
  /// Looks again at whether the task is enabled.
  void reconsider() noexcept { apply(false); }
  /// Makes the thread unless it is there; 0, or the error number.
  int makeThread() noexcept;
  /// Waits until the run that is under way, if any, is over.
  void awaitOut() noexcept;
  /// Ends the thread; the task says already that it is retired. False in a forked child, where the thread has stayed
  /// behind: then nothing of this may be touched any more, and it is not to be released.
  bool retire() noexcept;
  void release() noexcept;

 private:
  bool isOfThisProcess() const noexcept;
  static void* threadBody(void* runner) noexcept;
  void run() noexcept;
  void apply(bool scheduled) noexcept;
  bool tryAgain() noexcept override;
  /// Makes the members below agree with what is pending and whether the task is enabled; the error number of a thread
  /// that is needed and cannot be made.
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
