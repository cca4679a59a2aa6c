// When the entries run. Their order is EntryTree's.
#include <platform/core/timer/internal/Queue.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include <platform/core/time/Clock.h>

namespace Quarnix::Timer {

int Queue::start(QueueEntry& entry) noexcept {
  if (isForeign()) return ESRCH;
  {
    MutexLock lock(mutex_);
    if (entry.state_ == QueueEntry::State::RETIRED) return 0;
    if (const int error = prepare()) return error;
    remove(entry);
    entry.deadline_ = entry.relative_ ? Time::Clock::get().now() + entry.time_.getElapsed() : entry.time_;
    const bool isLate = entry.deadline_ < roundEnd_;
    (isLate ? late_ : entries_).insert(entry);
    if (isLate) entry.state_ = QueueEntry::State::LATE;
    if (entry.deadline_ >= waitsUntil_ || !wake()) return 0;
  }
  notify();
  return 0;
}

void Queue::stop(QueueEntry& entry) noexcept {
  if (isForeign()) return;
  MutexLock lock(mutex_);
  remove(entry);
}

void Queue::remove(QueueEntry& entry) noexcept {
  if (entry.state_ == QueueEntry::State::QUEUED) entries_.remove(entry);
  if (entry.state_ == QueueEntry::State::LATE) late_.remove(entry);
}

void Queue::setTime(QueueEntry& entry, const Time::Monotonic& time, bool relative) noexcept {
  if (isForeign()) return;
  MutexLock lock(mutex_);
  entry.time_ = time;
  entry.relative_ = relative;
}

bool Queue::isQueued(const QueueEntry& entry) noexcept {
  if (isForeign()) return false;
  MutexLock lock(mutex_);
  return entry.state_ == QueueEntry::State::QUEUED || entry.state_ == QueueEntry::State::LATE;
}

bool Queue::retire(QueueEntry& entry) noexcept {
  if (isForeign()) return true;
  MutexLock lock(mutex_);
  remove(entry);
  // From here on a start is ignored, also that of the run that is under way.
  entry.state_ = QueueEntry::State::RETIRED;
  if (running_ == &entry && isRunHere()) return false;
  while (running_ == &entry) out_.wait(mutex_);
  return true;
}

Time::Monotonic Queue::getEarliest() noexcept {
  if (isForeign()) return Time::Monotonic::never();
  MutexLock lock(mutex_);
  return firstDeadline();
}

Time::Monotonic Queue::firstDeadline() const noexcept {
  Time::Monotonic time = Time::Monotonic::never();
  for (const EntryTree* tree : {&entries_, &late_})
    if (const QueueEntry* const entry = tree->earliest()) time = std::min(time, entry->deadline_);
  return time;
}

void Queue::runEarliest() noexcept {
  QueueEntry& entry = *entries_.earliest();
  const Time::Monotonic deadline = entry.deadline_;
  entries_.remove(entry);
  running_ = &entry;
  {
    MutexUnlock unlock(mutex_);
    entry.deadlineReached(deadline);
  }
  running_ = nullptr;
  out_.notifyAll();
}

void Queue::runRound(const Time::Monotonic& now) noexcept {
  roundEnd_ = now + Time::Elapsed(0, 1);
  for (const QueueEntry* next = entries_.earliest(); next && next->deadline_ < roundEnd_; next = entries_.earliest())
    runEarliest();
  roundEnd_ = AT_ONCE;
  while (QueueEntry* const entry = late_.earliest()) {
    late_.remove(*entry);
    entries_.insert(*entry);
  }
}

void Queue::beginAnew() noexcept {
  entries_.clear();
  running_ = nullptr;
  waitsUntil_ = AT_ONCE;
  new (&out_) ConditionVariable;
}

}  // namespace Quarnix::Timer
