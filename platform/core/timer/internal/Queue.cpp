// The heap of deadlines and the thread that waits for the earliest. What a timer does when it expires is not seen here.
#include <platform/core/timer/internal/Queue.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <system_error>

#include <platform/core/internal/Activity.h>
#include <platform/core/internal/Boundary.h>
#include <platform/core/internal/Thread.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Timer {

namespace {

constexpr std::size_t CHILDREN = 4;
constexpr std::size_t LEAST_CAPACITY = 16;
constexpr std::size_t KEPT_CAPACITY = 1024;
constexpr unsigned int STACK = 256 * 1024;
thread_local bool isTimerThread = false;

}  // namespace

// The mutex is held over a fork, so that the child finds the heap whole.
Queue::Queue() noexcept {
  pthread_atfork([]() HEVRA_NO_THREAD_SAFETY_ANALYSIS { get().mutex_.lock(); },
                 []() HEVRA_NO_THREAD_SAFETY_ANALYSIS { get().mutex_.unlock(); },
                 []() HEVRA_NO_THREAD_SAFETY_ANALYSIS {
                   get().beginAnew();
                   get().mutex_.unlock();
                 });
}

/// In a forked child: the thread has stayed behind, and who waited on the conditions.
void Queue::beginAnew() noexcept {
  for (const Entry& entry : heap_) entry.timer->index_ = Monotonic::NOT_QUEUED;
  heap_.clear();
  running_ = nullptr;
  waiting_ = hasThread_ = false;
  new (&work_) ConditionVariable;
  new (&out_) ConditionVariable;
}

Queue& Queue::get() noexcept {
  static NeverDestroyed<Queue> instance;
  return instance.object;
}

void Queue::start(Monotonic& timer) {
  MutexLock lock(mutex_);
  if (timer.index_ == Monotonic::RETIRED) return;
  ensureThread();
  if (timer.index_ == Monotonic::NEVER_STARTED) takePlace(timer);
  const Time::Monotonic deadline = timer.relative_ ? Time::Clock::get().now() + timer.time_.getElapsed() : timer.time_;
  const Entry entry{deadline.getElapsed().getNanoseconds(), starts_, &timer};
  if (!isIn(timer)) {
    heap_.push_back(entry);
    timer.index_ = static_cast<std::uint32_t>(heap_.size() - 1);
  }
  ++starts_;
  settle(timer.index_, entry);
  const bool woken = waiting_ && entry.deadline < waitsUntil_ && wake();
  lock.unlock();
  if (woken) work_.notifyOne();
}

void Queue::stop(Monotonic& timer) noexcept {
  MutexLock lock(mutex_);
  if (isIn(timer)) remove(timer);
}

void Queue::setTime(Monotonic& timer, const Time::Monotonic& time, bool relative) noexcept {
  MutexLock lock(mutex_);
  timer.time_ = time;
  timer.relative_ = relative;
}

bool Queue::isQueued(const Monotonic& timer) noexcept {
  MutexLock lock(mutex_);
  return isIn(timer);
}

void Queue::retire(Monotonic& timer) noexcept {
  MutexLock lock(mutex_);
  if (isIn(timer)) remove(timer);
  if (timer.index_ == Monotonic::NOT_QUEUED) givePlaceBack();
  // From here on a start is ignored, that of the hook under way included.
  timer.index_ = Monotonic::RETIRED;
  if (running_ != &timer) return;
  if (isTimerThread) {
    lock.unlock();
    Log::printQuietly(Log::Priority::WARNING,
                      "libCore> a timer is destroyed from its own hook: the hook has dropped the last reference to "
                      "what owns it");
    std::abort();
  }
  while (running_ == &timer) out_.wait(mutex_);
}

void Queue::reconsider() noexcept {
  MutexLock lock(mutex_);
  const bool woken = wake();
  lock.unlock();
  if (woken) work_.notifyOne();
}

Time::Monotonic Queue::earliest() noexcept {
  MutexLock lock(mutex_);
  return heap_.empty() ? Time::Monotonic::never()
                       : Time::Monotonic(Time::Elapsed::ofNanoseconds(heap_.front().deadline));
}

void Queue::ensureThread() {
  if (hasThread_) return;
  pthread_t thread;
  if (const int error = startThread(thread, STACK, "hevra-timer", &threadBody, this))
    throw std::system_error(error, std::generic_category(), "no thread for the process's timers");
  pthread_detach(thread);
  hasThread_ = true;
  Activity::begin();
}

/// The thread counts as at work from here until it waits again.
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

void Queue::run() {
  MutexLock lock(mutex_);
  for (;;) {
    // The clock is looked up and waited on within one hold of the mutex: whoever replaces it calls `reconsider` after,
    // and then the former clock is either being waited on or not in use.
    Time::Clock& clock = Time::Clock::get();
    waitsUntil_ = heap_.empty() ? std::numeric_limits<std::int64_t>::max() : heap_.front().deadline;
    const Time::Monotonic deadline(Time::Elapsed::ofNanoseconds(waitsUntil_));
    if (heap_.empty() || clock.now() < deadline) {
      waiting_ = true;
      Activity::end();
      clock.wait(work_, mutex_, deadline);
      wake();
      continue;
    }
    Monotonic* due = heap_.front().timer;
    remove(*due);
    running_ = due;
    lock.unlock();
    runAtBoundary("timer", [&] { due->expired(deadline); });
    lock.lock();
    running_ = nullptr;
    out_.notifyAll();
  }
}

bool Queue::isEarlier(const Entry& a, const Entry& b) noexcept {
  return a.deadline != b.deadline ? a.deadline < b.deadline : a.sequence < b.sequence;
}

void Queue::place(std::size_t index, const Entry& entry) noexcept {
  heap_[index] = entry;
  entry.timer->index_ = static_cast<std::uint32_t>(index);
}

void Queue::moveUp(std::size_t index, const Entry& entry) noexcept {
  while (index > 0) {
    const std::size_t parent = (index - 1) / CHILDREN;
    if (!isEarlier(entry, heap_[parent])) break;
    place(index, heap_[parent]);
    index = parent;
  }
  place(index, entry);
}

void Queue::moveDown(std::size_t index, const Entry& entry) noexcept {
  for (;;) {
    const std::size_t first = index * CHILDREN + 1;
    if (first >= heap_.size()) break;
    std::size_t least = first;
    for (std::size_t child = first + 1; child < std::min(first + CHILDREN, heap_.size()); ++child)
      if (isEarlier(heap_[child], heap_[least])) least = child;
    if (!isEarlier(heap_[least], entry)) break;
    place(index, heap_[least]);
    index = least;
  }
  place(index, entry);
}

/// Puts `entry` where it belongs, from a place that is free for it.
void Queue::settle(std::size_t index, const Entry& entry) noexcept {
  if (index > 0 && isEarlier(entry, heap_[(index - 1) / CHILDREN]))
    moveUp(index, entry);
  else
    moveDown(index, entry);
}

void Queue::remove(Monotonic& timer) noexcept {
  const std::size_t index = timer.index_;
  const Entry last = heap_.back();
  heap_.pop_back();
  if (index < heap_.size()) settle(index, last);
  timer.index_ = Monotonic::NOT_QUEUED;
}

/// From here on the heap has memory for this timer too, so that no later start of it can fail.
void Queue::takePlace(Monotonic& timer) {
  if (places_ == heap_.capacity()) heap_.reserve(std::max(LEAST_CAPACITY, places_ * 2));
  ++places_;
  timer.index_ = Monotonic::NOT_QUEUED;
}

void Queue::givePlaceBack() noexcept {
  --places_;
  // Memory for a hundred thousand timers is given back when they are gone.
  if (heap_.capacity() <= KEPT_CAPACITY || places_ >= heap_.capacity() / CHILDREN) return;
  const std::size_t size = heap_.size();
  heap_.resize(places_);
  heap_.shrink_to_fit();
  heap_.resize(size);
}

}  // namespace Quarnix::Timer
