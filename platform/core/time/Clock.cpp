// Keeps which clock is in force.
#include <platform/core/time/Clock.h>

#include <atomic>

#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/time/internal/Deadlines.h>
#include <platform/core/time/internal/SteadyClock.h>

namespace Quarnix::Time {

namespace {

std::atomic<Clock*> inForce{nullptr};

SteadyClock& steady() noexcept {
  static NeverDestroyed<SteadyClock> instance;
  return instance.object;
}

}  // namespace

Clock::~Clock() = default;

Clock& Clock::get() noexcept {
  Clock* clock = inForce.load(std::memory_order_acquire);
  return clock ? *clock : steady();
}

void Clock::install(Clock* clock) noexcept {
  inForce.store(clock);
  Deadlines::get().clockChanged();
}

}  // namespace Quarnix::Time
