// Posts the runs of a task to its loop.
#include <platform/core/task/internal/DispatchedRunner.h>

#include <cerrno>

#include <platform/core/internal/HookScope.h>

namespace Quarnix {

void Task::DispatchedRunner::reconsider() noexcept {
  if (isHeldBack_.exchange(false)) loop_.post(*this);
}

int Task::DispatchedRunner::prepare() noexcept { return loop_.isOfThisProcess() ? 0 : ESRCH; }

void Task::DispatchedRunner::awaitOut() noexcept {
  if (!HookScope::isHere()) loop_.awaitOut(*this);
}

void Task::DispatchedRunner::retire() noexcept {
  loop_.withdraw(*this);
  delete this;
}

void Task::DispatchedRunner::run() noexcept {
  if (!task_.isEnabled()) {
    // Whoever enables the task looks at this afterwards: either it sees it, or the task is seen to be enabled here.
    isHeldBack_ = true;
    if (!task_.isEnabled() || !isHeldBack_.exchange(false)) return;
  }
  if (!runBody()) loop_.post(*this);
}

}  // namespace Quarnix
