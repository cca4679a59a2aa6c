// Time that moves on command: who waits for it, who is woken when it moves, and when all is idle again.
#include <platform/core/time/SimulatedClock.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <tuple>

#include <sys/eventfd.h>
#include <unistd.h>

#include <platform/core/internal/Activity.h>
#include <platform/core/internal/Descriptor.h>
#include <platform/core/timer/internal/Queue.h>

namespace Quarnix::Time {

namespace {

/// One wait under way, on the stack of the thread that waits. What is not constant is guarded by the clock's mutex.
struct Waiter {
  Monotonic deadline;
  Mutex* mutex = nullptr;
  ConditionVariable* condition = nullptr;
  int descriptor = -1;        // of a poll: made readable to end it
  bool isTimerQueue = false;  // waits for the next timer: whoever moves the time sees to it
  bool isWork = false;        // within a hook: does not count as activity while it waits
  const std::thread::id thread = std::this_thread::get_id();

  Waiter* next = nullptr;        // in the clock's list
  Waiter* nextToWake = nullptr;  // in the list of the thread that wakes, while pinned
  bool woken = false;            // by the clock, which has then counted its work again
  bool pinned = false;           // the clock is about to take its mutex
  bool inTime = false;           // how it was when the wait ended
  bool closed = false;
};

}  // namespace

/// The order of mutexes: that of a waiter, then this one. To notify a waiter the clock therefore lets this one go
/// first, and pins the waiter meanwhile, so that its mutex and its condition variable stay.
struct SimulatedClock::State {
  /// What hooks wait for while no work is under way, and how much work was ever begun until then.
  struct Idleness {
    std::set<std::tuple<std::thread::id, const void*, Monotonic>> waits;
    std::uint32_t begun = 0;
  };

  mutable Mutex mutex;
  ConditionVariable changed;
  Monotonic now HEVRA_GUARDED_BY(mutex);
  bool closed HEVRA_GUARDED_BY(mutex) = false;
  Waiter* first HEVRA_GUARDED_BY(mutex) = nullptr;  // linked, so that a wait needs no memory

  /// What points to the waiter; for null the end of the list.
  Waiter** linkTo(const Waiter* waiter) HEVRA_REQUIRES(mutex) {
    Waiter** link = &first;
    while (*link != waiter) link = &(*link)->next;
    return link;
  }

  /// False when the deadline has been reached already.
  bool enter(Waiter& waiter) HEVRA_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    if (waiter.deadline <= now) return false;
    waiter.woken = false;
    waiter.next = nullptr;
    *linkTo(nullptr) = &waiter;
    changed.notifyAll();
    if (waiter.isWork) Activity::end();
    return true;
  }

  /// False when the waiter is pinned: it has to let its mutex go and await the end of that.
  bool leave(Waiter& waiter) HEVRA_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    if (waiter.pinned) return false;
    if (waiter.isWork && !waiter.woken) Activity::begin();
    waiter.inTime = now < waiter.deadline;
    waiter.closed = closed;
    *linkTo(&waiter) = waiter.next;
    changed.notifyAll();
    return true;
  }

  void awaitUnpinned(const Waiter& waiter) HEVRA_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    while (waiter.pinned) changed.wait(mutex);
  }

  /// Wakes the waiters that `isChosen` accepts; how many, the timer queue apart.
  template <class Choice>
  std::size_t wake(const Choice& isChosen) HEVRA_EXCLUDES(mutex) {
    std::size_t count = 0;
    Waiter* pinned = nullptr;
    {
      MutexLock lock(mutex);
      Waiter** end = &pinned;
      for (Waiter* waiter = first; waiter; waiter = waiter->next) {
        if (waiter->woken || !isChosen(*waiter)) continue;
        waiter->woken = true;
        if (waiter->isWork) Activity::begin();
        if (!waiter->isTimerQueue) ++count;
        if (waiter->condition) {
          waiter->pinned = true;
          waiter->nextToWake = nullptr;
          *end = waiter;
          end = &waiter->nextToWake;
        } else {
          ::eventfd_write(waiter->descriptor, 1);
        }
      }
    }
    while (Waiter* const waiter = pinned) {
      pinned = waiter->nextToWake;
      // A waiter holds its mutex from the moment it looks at the time until it waits, so that this is not missed.
      {
        MutexLock lock(*waiter->mutex);
        waiter->condition->notifyAll();
      }
      MutexLock lock(mutex);
      waiter->pinned = false;
      changed.notifyAll();
    }
    return count;
  }

  std::size_t moveTo(const Monotonic& time) HEVRA_EXCLUDES(mutex) {
    {
      MutexLock lock(mutex);
      now = time;
    }
    Timer::Queue::get().reconsider();
    return wake([&time](const Waiter& waiter) { return waiter.deadline <= time; });
  }

  Monotonic earliest() const HEVRA_EXCLUDES(mutex) {
    Monotonic time = Timer::Queue::get().earliest();
    MutexLock lock(mutex);
    for (const Waiter* waiter = first; waiter; waiter = waiter->next)
      if (!waiter->woken && !waiter->isTimerQueue) time = std::min(time, waiter->deadline);
    return time;
  }

  /// Nothing when work is under way after all: no wait ends while this looks.
  std::optional<Idleness> idleness() const HEVRA_EXCLUDES(mutex) {
    MutexLock lock(mutex);
    Idleness idle;
    for (const Waiter* waiter = first; waiter; waiter = waiter->next)
      if (waiter->isWork) idle.waits.emplace(waiter->thread, waiter->condition, waiter->deadline);
    const Activity::Figures work = Activity::get();
    if (work.underWay != 0) return {};
    idle.begun = work.begun;
    return idle;
  }
};

SimulatedClock::SimulatedClock(const Monotonic& start) : state_(std::make_unique<State>()) {
  {
    MutexLock lock(state_->mutex);
    state_->now = start;
  }
  Clock::install(this);
}

SimulatedClock::~SimulatedClock() {
  Clock::install(nullptr);
  {
    MutexLock lock(state_->mutex);
    state_->closed = true;
  }
  state_->wake([](const Waiter&) { return true; });
  MutexLock lock(state_->mutex);
  while (state_->first) state_->changed.wait(state_->mutex);
}

std::size_t SimulatedClock::advance(const Elapsed& span) {
  if (span < Elapsed()) {
    throw std::invalid_argument("SimulatedClock::advance by " + std::to_string(span.getNanoseconds()) +
                                " ns, expected zero or more");
  }
  settle();
  const Monotonic target = now() + span;
  std::size_t reached = 0;
  for (Monotonic next = state_->earliest(); next <= target && !next.isNever(); next = state_->earliest()) {
    reached += state_->moveTo(std::max(next, now()));
    settle();
  }
  reached += state_->moveTo(target);
  settle();
  return reached;
}

void SimulatedClock::settle() {
  for (;;) {
    Activity::awaitNone();
    const auto before = state_->idleness();
    if (!before) continue;
    if (before->waits.empty()) return;
    // A hook that waits here may have been notified and not have run yet: all are woken to find out, until they only
    // come back to the same waits and begin nothing else.
    const std::size_t woken = state_->wake([](const Waiter& waiter) { return waiter.isWork; });
    Activity::awaitNone();
    const auto after = state_->idleness();
    if (after && after->waits == before->waits && after->begun == before->begun + static_cast<std::uint32_t>(woken))
      return;
  }
}

void SimulatedClock::awaitWaiters(std::size_t count) {
  MutexLock lock(state_->mutex);
  for (;;) {
    std::size_t present = 0;
    for (const Waiter* waiter = state_->first; waiter; waiter = waiter->next)
      if (!waiter->woken && !waiter->isTimerQueue && !waiter->deadline.isNever()) ++present;
    if (present >= count) return;
    state_->changed.wait(state_->mutex);
  }
}

Monotonic SimulatedClock::now() const {
  MutexLock lock(state_->mutex);
  return state_->now;
}

bool SimulatedClock::wait(ConditionVariable& condition, Mutex& mutex, const Monotonic& deadline) {
  Waiter waiter;
  waiter.deadline = deadline;
  waiter.mutex = &mutex;
  waiter.condition = &condition;
  waiter.isTimerQueue = Timer::Queue::get().waitsOn(condition);
  waiter.isWork = !waiter.isTimerQueue && Activity::isThisThreadCounted();
  if (!state_->enter(waiter)) return false;
  condition.wait(mutex);
  // The state is not touched after `leave`: with the last waiter gone the clock may be gone too.
  while (!state_->leave(waiter)) {
    mutex.unlock();
    state_->awaitUnpinned(waiter);
    mutex.lock();
  }
  return waiter.inTime;
}

int SimulatedClock::poll(pollfd* descriptors, nfds_t count, const Monotonic& deadline) {
  Waiter waiter;
  waiter.deadline = deadline;
  waiter.isWork = Activity::isThisThreadCounted();
  waiter.descriptor = aboveStandard(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (waiter.descriptor < 0) return -1;

  int ready = 0;
  int error = 0;
  do {
    if (!state_->enter(waiter)) {
      ready = ::poll(descriptors, count, 0);
      error = errno;
      break;
    }
    descriptors[count] = {waiter.descriptor, POLLIN, 0};
    ready = ::poll(descriptors, count + 1, -1);
    error = errno;
    state_->leave(waiter);
    if (ready > 0 && descriptors[count].revents != 0) {
      --ready;
      eventfd_t wakes = 0;
      ::eventfd_read(waiter.descriptor, &wakes);
    }
    if (ready == 0 && waiter.closed) {
      ready = -1;
      error = EINTR;
    }
  } while (ready == 0);
  ::close(waiter.descriptor);
  errno = error;
  return ready;
}

}  // namespace Quarnix::Time
