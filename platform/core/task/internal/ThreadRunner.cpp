// Makes the thread of a task, and lets it run and wait.
#include <platform/core/task/internal/ThreadRunner.h>

#include <cerrno>

#include <platform/core/internal/Activity.h>
#include <platform/core/internal/Fork.h>
#include <platform/core/internal/HookScope.h>
#include <platform/core/internal/Thread.h>
#include <platform/core/log/Logger.h>

namespace Quarnix {

Task::ThreadRunner::ThreadRunner(Task& task) noexcept : Runner(task), forks_(forkCount()) {}

bool Task::ThreadRunner::isOfThisProcess() const noexcept { return forkCount() == forks_; }

void* Task::ThreadRunner::threadBody(void* runner) noexcept {
  Activity::countThisThread();
  const HookScope hooks;
  static_cast<ThreadRunner*>(runner)->run();
  return nullptr;
}

void Task::ThreadRunner::run() noexcept {
  MutexLock lock(mutex_);
  while (!ending_) {
    if (!pending_ || !task_.isEnabled()) {
      work_.wait(mutex_);
      continue;
    }
    pending_ = false;
    running_ = true;
    bool returned = false;
    {
      MutexUnlock unlock(mutex_);
      returned = runBody();
    }
    running_ = false;
    ++runs_;
    if (!returned) pending_ = true;
    update();
    out_.notifyAll();
  }
}

int Task::ThreadRunner::ensureThread() noexcept {
  if (hasThread_) return 0;
  const int error = startThread(thread_, task_.getStackSize(), "hevra-task", &threadBody, this);
  hasThread_ = !error;
  return error;
}

int Task::ThreadRunner::update() noexcept {
  const bool wanted = pending_ && task_.isEnabled();
  const int error = wanted ? ensureThread() : 0;
  const bool counts = running_ || (wanted && hasThread_);
  if (counts != counted_) {
    counted_ = counts;
    if (counts)
      Activity::begin();
    else
      Activity::end();
  }
  return error;
}

bool Task::ThreadRunner::isThreadToWake() const noexcept {
  return pending_ && !running_ && hasThread_ && task_.isEnabled();
}

void Task::ThreadRunner::release() noexcept {
  if (references_.fetch_sub(1) == 1) delete this;
}

void Task::ThreadRunner::apply(bool scheduled) noexcept {
  if (!isOfThisProcess()) return;
  int error = 0;
  bool wakes = false;
  {
    MutexLock lock(mutex_);
    pending_ = pending_ || scheduled;
    error = update();
    wakes = isThreadToWake();
    if (wakes) references_.fetch_add(1);
  }
  if (wakes) {
    // The mutex is free, or the thread would wake only to wait for it. The reference is held because the run may have
    // led to the end of this task by now.
    work_.notifyOne();
    release();
  }
  if (error && Stalled::get().add(*this)) {
    Log::printQuietly(Log::Priority::WARNING,
                      "libCore> no thread for a task with %u bytes of stack (error %d), trying again each second",
                      task_.getStackSize(), error);
  }
}

bool Task::ThreadRunner::tryAgain() noexcept {
  MutexLock lock(mutex_);
  const int error = update();
  if (isThreadToWake()) work_.notifyOne();
  return error == 0;
}

int Task::ThreadRunner::prepare() noexcept {
  if (!isOfThisProcess()) return ESRCH;
  MutexLock lock(mutex_);
  const int error = ensureThread();
  if (!error) update();
  if (isThreadToWake()) work_.notifyOne();
  return error;
}

void Task::ThreadRunner::awaitOut() noexcept {
  if (!isOfThisProcess()) return;
  MutexLock lock(mutex_);
  update();
  // It waits for this run only: if somebody enables the task again, there may never be a moment without a run.
  const unsigned int run = runs_;
  while (running_ && runs_ == run && !HookScope::isHere()) out_.wait(mutex_);
}

void Task::ThreadRunner::retire() noexcept {
  if (!isOfThisProcess()) return;
  Stalled::get().remove(*this);
  bool hasThread = false;
  pthread_t thread = {};
  {
    MutexLock lock(mutex_);
    ending_ = true;
    update();
    work_.notifyOne();
    hasThread = hasThread_;
    thread = thread_;
  }
  if (hasThread) pthread_join(thread, nullptr);
  release();
}

}  // namespace Quarnix
