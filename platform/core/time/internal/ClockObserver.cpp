// Keeps the list of observers, which is linked, so that it needs no memory.
#include <platform/core/time/internal/ClockObserver.h>

namespace Quarnix::Time {

namespace {

constinit Mutex mutex;
constinit ClockObserver* first HEVRA_GUARDED_BY(mutex) = nullptr;

}  // namespace

Mutex& ClockObserver::listMutex() noexcept { return mutex; }

void ClockObserver::notifyAll() noexcept {
  MutexLock lock(mutex);
  for (ClockObserver* observer = first; observer; observer = observer->next_) observer->clockChanged();
}

void ClockObserver::observe() noexcept {
  MutexLock lock(mutex);
  next_ = first;
  first = this;
}

void ClockObserver::ignore() noexcept {
  MutexLock lock(mutex);
  ClockObserver** link = &first;
  while (*link && *link != this) link = &(*link)->next_;
  if (*link) *link = next_;
}

}  // namespace Quarnix::Time
