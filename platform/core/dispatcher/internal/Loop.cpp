// Dispatches: sources, timers, work.
#include <platform/core/dispatcher/internal/Loop.h>

#include <poll.h>

#include <cstdlib>
#include <stdexcept>

#include <platform/core/dispatcher/internal/Source.h>
#include <platform/core/dispatcher/internal/Work.h>
#include <platform/core/internal/Fork.h>
#include <platform/core/internal/HookScope.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>

namespace Quarnix {

namespace {

constinit std::atomic<Loop*> defaultLoop{nullptr};

}  // namespace

Loop::Loop() : forks_(forkCount()) {}
Loop::~Loop() = default;

Loop* Loop::getDefault() noexcept {
  Loop* const loop = defaultLoop.load();
  return loop && loop->isOfThisProcess() ? loop : nullptr;
}

void Loop::setDefault(Loop* loop) noexcept { defaultLoop.store(loop); }

bool Loop::isOfThisProcess() const noexcept { return forkCount() == forks_; }

void Loop::release() noexcept {
  if (references_.fetch_sub(1) == 1) delete this;
}

void Loop::close() noexcept {
  if (isOfThisProcess() && thread_.load() != std::thread::id()) {
    Log::printQuietly(Log::Priority::WARNING, "libCore> a dispatcher is destroyed while it dispatches");
    std::abort();
  }
  Loop* self = this;
  defaultLoop.compare_exchange_strong(self, nullptr);
  timers_.close();
  release();
}

void Loop::dispatch() {
  begin();
  const HookScope hooks;
  timers_.beginRound();
  callSources();
  timers_.runDue();
  runWork();
  timers_.endRound();
  end();
}

void Loop::begin() {
  if (!isOfThisProcess())
    throw std::logic_error("A dispatcher dispatches in a forked child, expected the process that made it");
  MutexLock lock(mutex_);
  if (isDispatchedHere()) throw std::logic_error("A dispatcher dispatches within one of its hooks, expected after it");
  if (thread_.load() != std::thread::id())
    throw std::logic_error("A dispatcher dispatches while another thread does, expected one thread at a time");
  thread_ = std::this_thread::get_id();
}

// The events are taken under the mutex, so that a source that another thread closes is either not among them or is
// found there.
void Loop::callSources() noexcept {
  MutexLock lock(mutex_);
  const int count = wakeUp_.take(events_, MOST_EVENTS);
  for (int i = 0; i < count; ++i) {
    auto* const source = static_cast<Source*>(events_[i].data.ptr);
    if (!source) continue;
    const std::uint32_t events = events_[i].events & (source->armed_ | EPOLLERR | EPOLLHUP);
    if (events != 0) call(source, [&] { source->ready(events); });
  }
}

void Loop::runWork() noexcept {
  MutexLock lock(mutex_);
  mark_.insertBefore(ready_);
  while (ready_.next() != &mark_) {
    auto& work = static_cast<Work&>(*ready_.next());
    work.remove();
    call(&work, [&] { work.run(); });
  }
  mark_.remove();
}

template <class Call>
void Loop::call(const void* callee, const Call& call) noexcept {
  callee_ = callee;
  {
    MutexUnlock unlock(mutex_);
    call();
  }
  callee_ = nullptr;
  ++calls_;
  out_.notifyAll();
}

/// It waits for this call only: one that is posted again and again may never be out.
void Loop::awaitCall(const void* callee) noexcept {
  if (isDispatchedHere()) return;
  const unsigned call = calls_;
  while (callee_ == callee && calls_ == call) out_.wait(mutex_);
}

// Until here, nobody who posted has woken the thread that dispatches.
void Loop::end() noexcept {
  bool isLeft = false;
  {
    MutexLock lock(mutex_);
    thread_ = std::thread::id();
    isLeft = !ready_.isAlone();
  }
  if (isLeft) wakeUp_.signal();
}

void Loop::run() {
  while (!quit_.exchange(false)) {
    dispatch();
    if (quit_.load()) continue;  // its signal may have been taken
    pollfd descriptors[2] = {{descriptor(), POLLIN, 0}, {}};
    // First the deadline: from here on, a clock that is installed wakes this wait.
    const Time::Monotonic deadline = timers_.beginWait();
    Time::Clock::get().poll(descriptors, 1, deadline);
    timers_.endWait();
  }
}

void Loop::quit() noexcept {
  if (!isOfThisProcess()) return;
  quit_ = true;
  wakeUp_.signal();
}

void Loop::post(Work& work) noexcept {
  if (!isOfThisProcess()) return;
  {
    MutexLock lock(mutex_);
    if (!work.isAlone()) return;
    work.insertBefore(ready_);
    if (thread_.load() != std::thread::id()) return;
    retain();  // the work may run, and be the end of the loop, before the signal is given
  }
  wakeUp_.signal();
  release();
}

void Loop::withdraw(Work& work) noexcept {
  if (!isOfThisProcess()) return;
  MutexLock lock(mutex_);
  work.remove();
  awaitCall(&work);
}

void Loop::awaitOut(const void* callee) noexcept {
  if (!isOfThisProcess()) return;
  MutexLock lock(mutex_);
  awaitCall(callee);
}

}  // namespace Quarnix
