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
}

void LoopTimers::rearm() noexcept {
  const Time::Monotonic next = firstDeadline();
  waitsUntil_ = Time::Monotonic::never();
  if (next.isNever() && armedFor_.isNever()) return;
  const bool isSteady = Time::SteadyClock::isInForce();
  const Time::Monotonic now = Time::Clock::get().now();
  const Time::Monotonic wanted = isSteady ? next : Time::Monotonic::never();
  // A timer that is set too early wakes for nothing once; this costs less than setting it with each stop.
  if (wanted < armedFor_ || (armedFor_ <= now && wanted != armedFor_)) {
    wakeUp_.setTimer(wanted);
    armedFor_ = wanted;
  }
  if (isSteady)
    waitsUntil_ = armedFor_;
  else if (next <= now || isAwaited_)
    wakeUp_.signal();
}

}  // namespace Quarnix
