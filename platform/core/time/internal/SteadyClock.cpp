// Reads CLOCK_MONOTONIC, and waits by it.
#include <platform/core/time/internal/SteadyClock.h>

#include <algorithm>
#include <chrono>
#include <ctime>

#include <platform/core/internal/NeverDestroyed.h>

namespace Quarnix::Time {

namespace {

// No single wait is longer, so that a deadline far away overflows no time type of the system.
constexpr Elapsed LONGEST_WAIT(24 * 60 * 60, 0);

}  // namespace

SteadyClock& SteadyClock::get() noexcept {
  static NeverDestroyed<SteadyClock> instance;
  return instance.object;
}

Monotonic SteadyClock::now() const {
  timespec time;
  ::clock_gettime(CLOCK_MONOTONIC, &time);
  return Monotonic(Elapsed(time.tv_sec, time.tv_nsec));
}

bool SteadyClock::wait(ConditionVariable& condition, Mutex& mutex, const Monotonic& deadline) {
  if (deadline.isNever()) {
    condition.wait(mutex);
    return true;
  }
  const Monotonic present = now();
  if (deadline <= present) return false;
  const Monotonic until = std::min(deadline, present + LONGEST_WAIT);
  const std::chrono::steady_clock::time_point point{std::chrono::nanoseconds(until.getElapsed().getNanoseconds())};
  std::unique_lock<std::mutex> lock(mutex.native(), std::adopt_lock);
  const std::cv_status status = condition.native().wait_until(lock, point);
  lock.release();
  return status == std::cv_status::no_timeout || until < deadline;
}

int SteadyClock::poll(pollfd* descriptors, nfds_t count, const Monotonic& deadline) {
  if (deadline.isNever()) return ::ppoll(descriptors, count, nullptr, nullptr);
  for (;;) {
    const Monotonic present = now();
    const Elapsed left = deadline > present ? std::min(deadline - present, LONGEST_WAIT) : Elapsed();
    timespec time;
    time.tv_sec = static_cast<time_t>(left.getSeconds());
    time.tv_nsec = static_cast<long>(left.getNanoseconds() % 1'000'000'000);
    const int ready = ::ppoll(descriptors, count, &time, nullptr);
    if (ready != 0 || now() >= deadline) return ready;
  }
}

}  // namespace Quarnix::Time
