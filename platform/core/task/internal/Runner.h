// The part of a task that exists once there is something to run: it says where the body runs.
#pragma once

#include <platform/core/Task.h>

namespace Quarnix {

/// Threads: any. `retire` is the last call, and does not come from the body.
/// Ownership: the task has a reference until it retires the runner.
class Task::Runner {
 public:
  /// Makes that of a task; null if there is no memory.
  static Runner* make(Task& task) noexcept;
  /// Whose body the calling thread is running; null if it runs none.
  static const Runner* current() noexcept;

  Runner(const Runner&) = delete;
  Runner& operator=(const Runner&) = delete;

  /// Lets the body run once more.
  virtual void schedule() noexcept = 0;
  /// The task has been enabled: what was scheduled meanwhile is to run.
  virtual void reconsider() noexcept = 0;
  /// Makes what the body needs to run. Returns 0, or the error number.
  virtual int prepare() noexcept = 0;
  /// The task has been disabled: waits until the run that is under way, if any, is over.
  virtual void awaitOut() noexcept = 0;
  /// The task is marked as retired: waits until the body does not run any more, and gives the task's reference back.
  virtual void retire() noexcept = 0;

 protected:
  explicit Runner(Task& task) noexcept : task_(task) {}
  ~Runner() = default;

  /// Runs the body. Returns false if it has raised something, which is logged.
  bool runBody() noexcept;

  Task& task_;
};

}  // namespace Quarnix
