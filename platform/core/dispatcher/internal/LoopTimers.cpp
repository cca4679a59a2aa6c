// Wakes whoever dispatches as rarely as possible.
#include <platform/core/dispatcher/internal/LoopTimers.h>

#include <platform/core/dispatcher/internal/Loop.h>
#include <platform/core/time/Clock.h>
#include <platform/core/time/internal/SteadyClock.h>
#include <platform/core/timer/internal/ThreadQueue.h>

namespace Quarnix {

LoopTimers::LoopTimers(const Loop& loop, WakeUp& wakeUp) noexcept : loop_(loop), wakeUp_(wakeUp) {
  Timer::ThreadQueue::get();  // it holds the list of the clock's observers over a fork
  endRound();
  observe();
}

bool LoopTimers::isForeign() const noexcept { return !loop_.isOfThisProcess(); }

bool LoopTimers::isRunHere() const noexcept { return loop_.isDispatchedHere(); }

void LoopTimers::beginRound() noexcept {
  MutexLock lock(mutex_);
  waitsUntil_ = AT_ONCE;
}

void LoopTimers::runDue() noexcept {
  MutexLock lock(mutex_);
  if (!firstDeadline().isNever()) runRound(Time::Clock::get().now());
}

void LoopTimers::endRound() noexcept {
  MutexLock lock(mutex_);
  rearm();
}

Time::Monotonic LoopTimers::beginWait() noexcept {
  MutexLock lock(mutex_);
  isAwaited_ = true;
  return firstDeadline();
}

void LoopTimers::endWait() noexcept {
  MutexLock lock(mutex_);
  isAwaited_ = false;
  ++waits_;
  waited_.notifyAll();
}

bool LoopTimers::wake() noexcept {
  rearm();
  return false;
}

void LoopTimers::clockChanged() noexcept {
  if (isForeign()) return;
  MutexLock lock(mutex_);
  // What the timer was set to may be a time of another clock.
  if (!armedFor_.isNever()) armedFor_ = AT_ONCE;
  if (waitsUntil_ != AT_ONCE) rearm();
  // Whoever waits may do so on the clock that was in force, which may go when this returns.
  if (isAwaited_) wakeUp_.signal();
  for (const unsigned wait = waits_; isAwaited_ && waits_ == wait;) waited_.wait(mutex_);
}

void LoopTimers::rearm() noexcept {
  const Time::Monotonic next = firstDeadline();
  waitsUntil_ = Time::Monotonic::never();
  if (next.isNever() && armedFor_.isNever()) return;
  const bool isSteady = Time::SteadyClock::isInForce();
  const Time::Monotonic now = Time::Clock::get().now();
  const bool isDue = next <= now;
  // A timer that is set too early wakes for nothing once. This costs less than setting it with each stop. One that has
  // expired is set again, because it keeps the descriptor readable.
  const Time::Monotonic wanted = isSteady && !isDue ? next : Time::Monotonic::never();
  if (wanted < armedFor_ || armedFor_ <= now) {
    wakeUp_.setTimer(wanted);
    armedFor_ = wanted;
  }
  if (isSteady) waitsUntil_ = armedFor_;
  if (isDue) waitsUntil_ = AT_ONCE;
  if (isDue || (isAwaited_ && !isSteady)) wakeUp_.signal();
}

}  // namespace Quarnix
