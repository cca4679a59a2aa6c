// When the entries run, and the thread that waits for the earliest. The order of the entries is EntryTree's.
#include <platform/core/timer/internal/Queue.h>

#include <new>

#include <pthread.h>

#include <platform/core/internal/Activity.h>
#include <platform/core/internal/Thread.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Timer {

namespace {

constexpr unsigned int STACK = 256 * 1024;
thread_local bool isTimerThread = false;

}  // namespace

// The mutex is held over a fork, so that the child finds the entries whole.
Queue::Queue() noexcept {
  Time::Deadlines::install(*this);
  pthread_atfork([]() HEVRA_NO_THREAD_SAFETY_ANALYSIS { get().mutex_.lock(); },
                 []() HEVRA_NO_THREAD_SAFETY_ANALYSIS { get().mutex_.unlock(); },
                 []() HEVRA_NO_THREAD_SAFETY_ANALYSIS {
                   get().beginAnew();
                   get().mutex_.unlock();
                 });
}

/// In a forked child: the thread has stayed behind, and so has whoever waited on the conditions.
void Queue::beginAnew() noexcept {
  entries_.clear();
  running_ = nullptr;
  waiting_ = hasThread_ = false;
  new (&work_) ConditionVariable;
  new (&out_) ConditionVariable;
}

Queue& Queue::get() noexcept {
  static NeverDestroyed<Queue> instance;
  return instance.object;
}

int Queue::start(QueueEntry& entry) noexcept {
  {
    MutexLock lock(mutex_);
    if (entry.state_ == QueueEntry::State::RETIRED) return 0;
    if (const int error = ensureThread()) return error;
    if (entry.state_ == QueueEntry::State::QUEUED) entries_.remove(entry);
    entry.deadline_ = entry.relative_ ? Time::Clock::get().now() + entry.time_.getElapsed() : entry.time_;
    entries_.insert(entry);
    if (!waiting_ || entry.deadline_ >= waitsUntil_) return 0;
    wake();
  }
  work_.notifyOne();
  return 0;
}

void Queue::stop(QueueEntry& entry) noexcept {
  MutexLock lock(mutex_);
  if (entry.state_ == QueueEntry::State::QUEUED) entries_.remove(entry);
}

void Queue::setTime(QueueEntry& entry, const Time::Monotonic& time, bool relative) noexcept {
  MutexLock lock(mutex_);
  entry.time_ = time;
  entry.relative_ = relative;
}

bool Queue::isQueued(const QueueEntry& entry) noexcept {
  MutexLock lock(mutex_);
  return entry.state_ == QueueEntry::State::QUEUED;
}

bool Queue::retire(QueueEntry& entry) noexcept {
  MutexLock lock(mutex_);
  if (entry.state_ == QueueEntry::State::QUEUED) entries_.remove(entry);
  // From here on a start is ignored, also that of the run that is under way.
  entry.state_ = QueueEntry::State::RETIRED;
  if (running_ == &entry && isTimerThread) return false;
  while (running_ == &entry) out_.wait(mutex_);
  return true;
}

void Queue::clockChanged() noexcept {
  {
    MutexLock lock(mutex_);
    if (!wake()) return;
  }
  work_.notifyOne();
}

Time::Monotonic Queue::earliest() noexcept {
  MutexLock lock(mutex_);
  const QueueEntry* const entry = entries_.earliest();
  return entry ? entry->deadline_ : Time::Monotonic::never();
}

int Queue::ensureThread() noexcept {
  if (hasThread_) return 0;
  pthread_t thread;
  if (const int error = startThread(thread, STACK, "hevra-timer", &threadBody, this)) return error;
  pthread_detach(thread);
  hasThread_ = true;
  Activity::begin();
  return 0;
}

/// The thread counts as at work from here until it waits again. False when it is at work already.
bool Queue::wake() noexcept {
  if (!waiting_) return false;
  waiting_ = false;
  Activity::begin();
  return true;
}

void* Queue::threadBody(void* queue) noexcept {
  isTimerThread = true;
  Activity::countThisThread();
  static_cast<Queue*>(queue)->run();
  return nullptr;
}

void Queue::run() noexcept {
  MutexLock lock(mutex_);
  for (;;) {
    // The clock is looked up and waited on within one hold of the mutex: whoever replaces it calls `clockChanged`
    // after, and then the former clock is either being waited on or not in use.
    Time::Clock& clock = Time::Clock::get();
    QueueEntry* const next = entries_.earliest();
    const Time::Monotonic deadline = next ? next->deadline_ : Time::Monotonic::never();
    if (!next || clock.now() < deadline) {
      waitsUntil_ = deadline;
      waiting_ = true;
      Activity::end();
      clock.wait(work_, mutex_, deadline);
      wake();
      continue;
    }
    entries_.remove(*next);
    running_ = next;
    {
      MutexUnlock unlock(mutex_);
      next->deadlineReached(deadline);
    }
    running_ = nullptr;
    out_.notifyAll();
  }
}

}  // namespace Quarnix::Timer
