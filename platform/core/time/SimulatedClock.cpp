// Keeps who waits for the simulated time, wakes them when it moves, and finds out when all is idle again.
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
#include <platform/core/time/internal/ClockObserver.h>
#include <platform/core/time/internal/Deadlines.h>

namespace Quarnix::Time {

namespace {

/// One wait under way, on the stack of the thread that waits. The clock's mutex guards what is not constant.
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

/// The order of mutexes is: a waiter's, then this one. Before the clock notifies a waiter, it therefore releases this
/// one. It pins the waiter meanwhile, so that the waiter's mutex and condition variable stay.
struct SimulatedClock::State {
  /// The waits of hooks while no work is under way, and how much work was begun until then.
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

  /// Returns false when the deadline has been reached already.
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

  /// Returns false when the waiter is pinned: it has to release its mutex and wait until it is not.
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

  /// Wakes the waiters that `isChosen` accepts, and returns their number without the timer queue.
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
    ClockObserver::notifyAll();
    return wake([&time](const Waiter& waiter) { return waiter.deadline <= time; });
  }

  Monotonic earliest() const HEVRA_EXCLUDES(mutex) {
    Monotonic time = Deadlines::get().earliest();
    MutexLock lock(mutex);
    for (const Waiter* waiter = first; waiter; waiter = waiter->next)
      if (!waiter->woken && !waiter->isTimerQueue) time = std::min(time, waiter->deadline);
    return time;
  }

  /// Returns nothing when work is under way after all. No wait ends while this looks.
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
    // A hook that waits here may have been notified and not have run yet. To find out, the clock wakes all of them
    // until they only come back to the same waits and begin nothing else.
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
      if (!waiter->woken && !waiter->isTimerQueue && !waiter->isWork && !waiter->deadline.isNever()) ++present;
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
  waiter.isTimerQueue = Deadlines::get().waitsOn(condition);
  waiter.isWork = !waiter.isTimerQueue && Activity::isThisThreadCounted();
  if (!state_->enter(waiter)) return false;
  condition.wait(mutex);
  // Do not touch the state after `leave`: once the last waiter has left, the clock may be gone.
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
  // What the descriptors bring is new work, also if the clock has woken this wait only to see whether there is any.
  if (ready > 0 && waiter.isWork) {
    Activity::begin();
    Activity::end();
  }
  ::close(waiter.descriptor);
  errno = error;
  return ready;
}

}  // namespace Quarnix::Time
