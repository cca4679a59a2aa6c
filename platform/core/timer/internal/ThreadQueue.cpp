// The thread that waits for the earliest deadline.
#include <platform/core/timer/internal/ThreadQueue.h>

#include <new>

#include <pthread.h>

#include <platform/core/internal/Activity.h>
#include <platform/core/internal/HookScope.h>
#include <platform/core/internal/Thread.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Timer {

namespace {

constexpr unsigned int STACK = 256 * 1024;
thread_local bool isTimerThread = false;

}  // namespace

// Both mutexes are held over a fork, so that the child finds the lists whole.
ThreadQueue::ThreadQueue() noexcept {
  Time::Deadlines::install(*this);
  pthread_atfork(
      []() HEVRA_NO_THREAD_SAFETY_ANALYSIS {
        listMutex().lock();
        get().mutex_.lock();
      },
      []() HEVRA_NO_THREAD_SAFETY_ANALYSIS {
        get().mutex_.unlock();
        listMutex().unlock();
      },
      []() HEVRA_NO_THREAD_SAFETY_ANALYSIS {
        get().beginAnewInChild();
        get().mutex_.unlock();
        listMutex().unlock();
      });
  observe();
}

/// The thread has stayed behind, and so has whoever waited on the conditions.
void ThreadQueue::beginAnewInChild() noexcept {
  beginAnew();
  hasThread_ = false;
  new (&work_) ConditionVariable;
}

ThreadQueue& ThreadQueue::get() noexcept {
  static NeverDestroyed<ThreadQueue> instance;
  return instance.object;
}

bool ThreadQueue::isRunHere() const noexcept { return isTimerThread; }

void ThreadQueue::clockChanged() noexcept {
  {
    MutexLock lock(mutex_);
    if (!wake()) return;
  }
  notify();
}

int ThreadQueue::prepare() noexcept {
  if (hasThread_) return 0;
  pthread_t thread;
  if (const int error = startThread(thread, STACK, "hevra-timer", &threadBody, this)) return error;
  pthread_detach(thread);
  hasThread_ = true;
  Activity::begin();
  return 0;
}

/// The thread counts as at work from here until it waits again. False when it is at work already.
bool ThreadQueue::wake() noexcept {
  if (waitsUntil_ == AT_ONCE) return false;
  waitsUntil_ = AT_ONCE;
  Activity::begin();
  return true;
}

void* ThreadQueue::threadBody(void* queue) noexcept {
  isTimerThread = true;
  Activity::countThisThread();
  const HookScope hooks;
  static_cast<ThreadQueue*>(queue)->run();
  return nullptr;
}

void ThreadQueue::run() noexcept {
  MutexLock lock(mutex_);
  for (;;) {
    // The clock is looked up and waited on within one hold of the mutex: whoever replaces it calls `clockChanged`
    // after, and then the former clock is either being waited on or not in use.
    Time::Clock& clock = Time::Clock::get();
    const Time::Monotonic deadline = firstDeadline();
    if (clock.now() < deadline) {
      waitsUntil_ = deadline;
      Activity::end();
      clock.wait(work_, mutex_, deadline);
      wake();
    } else {
      runEarliest();
    }
  }
}

}  // namespace Quarnix::Timer
