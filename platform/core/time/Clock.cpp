// Keeps which clock is in force.
#include <platform/core/time/Clock.h>

#include <atomic>

#include <platform/core/time/internal/ClockObserver.h>
#include <platform/core/time/internal/SteadyClock.h>

namespace Quarnix::Time {

namespace {

std::atomic<Clock*> inForce{nullptr};

}  // namespace

Clock::~Clock() = default;

Clock& Clock::get() noexcept {
  Clock* clock = inForce.load(std::memory_order_acquire);
  return clock ? *clock : SteadyClock::get();
}

void Clock::install(Clock* clock) noexcept {
  inForce.store(clock);
  ClockObserver::notifyAll();
}

}  // namespace Quarnix::Time
