// The task sleeps until the next entry is due.
#include <stack/Agenda.h>

#include <utility>

#include <platform/core/time/Clock.h>

namespace Quarnix::Hevra::Stack {

Agenda::Agenda() : wake_([this] { schedule(); }) {}

Agenda::~Agenda() {
  wake_.retire();  // first, because it schedules the task
  retire();
}

void Agenda::after(const Time::Elapsed& span, std::function<void()> entry) {
  {
    MutexLock lock(mutex_);
    entries_.emplace(Time::Clock::get().now() + span, std::move(entry));
  }
  schedule();
}

void Agenda::clear() {
  decltype(entries_) dropped;
  {
    MutexLock lock(mutex_);
    dropped.swap(entries_);
  }
  disable();
  enable();
}

void Agenda::entry() {
  MutexLock lock(mutex_);
  while (!entries_.empty() && entries_.begin()->first <= Time::Clock::get().now()) {
    const auto due = entries_.extract(entries_.begin());
    MutexUnlock unlock(mutex_);
    due.mapped()();
  }
  if (!entries_.empty()) wake_.at(entries_.begin()->first);
}

}  // namespace Quarnix::Hevra::Stack
