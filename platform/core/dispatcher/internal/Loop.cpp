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
#include <platform/core/time/internal/SteadyClock.h>

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
  epoll_event events[MOST_EVENTS];
  dispatch(events, wakeUp_.take(events, MOST_EVENTS));
}

void Loop::dispatch(const epoll_event* events, int count) {
  begin();
  const HookScope hooks;
  timers_.beginRound();
  callSources(events, count);
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
  ++rounds_;
}

void Loop::callSources(const epoll_event* events, int count) noexcept {
  MutexLock lock(mutex_);
  for (int i = 0; i < count; ++i) {
    const std::uint64_t key = events[i].data.u64;
    Source* const source = sources_[placeOf(key)];
    if (!source || source->key_ != key) continue;
    const std::uint32_t wanted = events[i].events & (source->armed_ | EPOLLERR | EPOLLHUP);
    if (wanted != 0) call(source, [&] { source->ready(wanted); });
  }
}

void Loop::runWork() noexcept {
  MutexLock lock(mutex_);
  mark_.insertBefore(ready_);
  while (ready_.next() != &mark_) runFirst(ready_);
  mark_.remove();
  while (!atEnd_.isAlone()) runFirst(atEnd_);
}

void Loop::runFirst(Link& list) noexcept {
  auto& work = static_cast<Work&>(*list.next());
  work.remove();
  call(&work, [&] { work.run(); });
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
    epoll_event events[MOST_EVENTS];
    dispatch(events, await(events));
  }
}

/// Waits until there is something to dispatch, and takes the events.
int Loop::await(epoll_event (&events)[MOST_EVENTS]) {
  // First the deadline: from here on, a clock that is installed wakes this wait.
  const Time::Monotonic deadline = timers_.beginWait();
  int count = 0;
  if (Time::SteadyClock::isInForce()) {
    count = wakeUp_.await(events, MOST_EVENTS);
  } else {
    pollfd descriptors[2] = {{descriptor(), POLLIN, 0}, {}};
    Time::Clock::get().poll(descriptors, 1, deadline);
    count = wakeUp_.take(events, MOST_EVENTS);
  }
  timers_.endWait();
  return count;
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

void Loop::postAtEnd(Work& work) noexcept {
  MutexLock lock(mutex_);
  if (work.isAlone()) work.insertBefore(atEnd_);
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
