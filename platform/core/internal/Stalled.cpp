// The list of what is stalled, and the timer that tries it again.
#include <platform/core/internal/Stalled.h>

#include <platform/core/internal/Boundary.h>

namespace Quarnix {

Stalled::Stalled() noexcept : Timer::Monotonic(Time::Monotonic(Time::Elapsed(1, 0)), true) {}

Stalled& Stalled::get() {
  static NeverDestroyed<Stalled> instance;
  return instance.object;
}

Stalled::Entry** Stalled::find(const Entry& entry) noexcept {
  Entry** link = &first_;
  while (*link && *link != &entry) link = &(*link)->next_;
  return link;
}

bool Stalled::add(Entry& entry) noexcept {
  MutexLock lock(mutex_);
  Entry** link = find(entry);
  const bool added = !*link;
  if (added) {
    entry.next_ = nullptr;
    *link = &entry;
  }
  lock.unlock();
  // Here and not only for the first entry, because the timer's own start may have failed before.
  if (!isRunning()) runAtBoundary("start of the timer that tries again", [this] { start(); });
  return added;
}

void Stalled::remove(Entry& entry) noexcept {
  MutexLock lock(mutex_);
  Entry** link = find(entry);
  if (*link) *link = entry.next_;
}

void Stalled::expired(const Time::Monotonic&) {
  MutexLock lock(mutex_);
  for (Entry** link = &first_; *link;) {
    if ((*link)->tryAgain())
      *link = (*link)->next_;
    else
      link = &(*link)->next_;
  }
  const bool empty = !first_;
  lock.unlock();
  if (!empty) start();
}

}  // namespace Quarnix
