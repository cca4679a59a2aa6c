// Runs the body of a task, on whichever thread.
#include <platform/core/task/internal/Runner.h>

#include <new>
#include <utility>

#include <platform/core/log/internal/Boundary.h>
#include <platform/core/task/internal/DispatchedRunner.h>
#include <platform/core/task/internal/ThreadRunner.h>

namespace Quarnix {

namespace {

thread_local const void* currentRunner = nullptr;

}  // namespace

Task::Runner* Task::Runner::make(Task& task) noexcept {
  if (Loop* const loop = task.loop()) return new (std::nothrow) DispatchedRunner(task, *loop);
  return new (std::nothrow) ThreadRunner(task);
}

const Task::Runner* Task::Runner::current() noexcept { return static_cast<const Runner*>(currentRunner); }

bool Task::Runner::runBody() noexcept {
  // A body may dispatch, which runs other bodies.
  const void* const former = std::exchange(currentRunner, this);
  const bool returned = runAtBoundary("task", [this] { task_.body_ ? task_.body_(task_) : task_.entry(); });
  currentRunner = former;
  return returned;
}

}  // namespace Quarnix
