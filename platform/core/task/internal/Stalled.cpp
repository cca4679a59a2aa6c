// Keeps the stalled work in a list, and tries it again.
#include <platform/core/task/internal/Stalled.h>

#include <platform/core/log/Logger.h>
#include <platform/core/timer/internal/ThreadQueue.h>

namespace Quarnix {

Stalled::Stalled() noexcept : Timer::QueueEntry(Time::Monotonic(Time::Elapsed(1, 0)), true) {}

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
  bool added = false;
  {
    MutexLock lock(mutex_);
    Entry** link = find(entry);
    added = !*link;
    if (added) {
      entry.next_ = nullptr;
      *link = &entry;
    }
  }
  // Here and not only for the first entry, because a start may have failed before.
  Timer::ThreadQueue& queue = Timer::ThreadQueue::get();
  if (const int error = queue.isQueued(*this) ? 0 : queue.start(*this)) {
    Log::printQuietly(Log::Priority::WARNING,
                      "libCore> no thread for the process's timers (error %d), nothing is tried again for now", error);
  }
  return added;
}

void Stalled::remove(Entry& entry) noexcept {
  MutexLock lock(mutex_);
  Entry** link = find(entry);
  if (*link) *link = entry.next_;
}

void Stalled::deadlineReached(const Time::Monotonic&) noexcept {
  MutexLock lock(mutex_);
  for (Entry** link = &first_; *link;) {
    if ((*link)->tryAgain())
      *link = (*link)->next_;
    else
      link = &(*link)->next_;
  }
  if (first_) Timer::ThreadQueue::get().start(*this);
}

}  // namespace Quarnix
