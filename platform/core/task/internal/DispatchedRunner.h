// Runs a task's body on its dispatcher.
#pragma once

#include <atomic>

#include <platform/core/dispatcher/internal/Work.h>
#include <platform/core/task/internal/Runner.h>

namespace Quarnix {

/// What is scheduled is posted to the loop, also while the task is disabled: then the loop finds that out.
class Task::DispatchedRunner final : public Runner, private Loop::Work {
 public:
  /// The task has a reference to the loop.
  DispatchedRunner(Task& task, Loop& loop) noexcept : Runner(task), loop_(loop) {}

  void schedule() noexcept override { loop_.post(*this); }
  void reconsider() noexcept override;
  int prepare() noexcept override;
  void awaitOut() noexcept override;
  void retire() noexcept override;

 private:
  ~DispatchedRunner() = default;
  void run() noexcept override;

  Loop& loop_;
  std::atomic<bool> isHeldBack_{false};  // was to run while the task was disabled
};

}  // namespace Quarnix
