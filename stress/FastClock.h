// A clock of the process that runs faster than the system's, so that waits of a minute end during a run.
#pragma once

#include <platform/core/time/internal/SteadyClock.h>

namespace Quarnix::Stress {

/// The steady clock, `times` as fast. Never destroy an installed one: background threads wait on it until the process
/// ends.
class FastClock final : public Time::Clock {
 public:
  explicit FastClock(std::int64_t times) : times_(times), begin_(steady_.now()) {}

  Time::Monotonic now() const override {
    return begin_ + Time::Elapsed::ofNanoseconds((steady_.now() - begin_).getNanoseconds() * times_);
  }
  bool wait(ConditionVariable& condition, Mutex& mutex, const Time::Monotonic& deadline) override
      HEVRA_REQUIRES(mutex) {
    return steady_.wait(condition, mutex, slowed(deadline));
  }
  int poll(pollfd* descriptors, nfds_t count, const Time::Monotonic& deadline) override {
    return steady_.poll(descriptors, count, slowed(deadline));
  }

 private:
  /// The time of the steady clock at which this clock reaches the deadline.
  Time::Monotonic slowed(const Time::Monotonic& deadline) const {
    if (deadline.isNever()) return deadline;
    return begin_ + Time::Elapsed::ofNanoseconds((deadline - begin_).getNanoseconds() / times_ + 1);
  }

  Time::SteadyClock steady_;
  const std::int64_t times_;
  const Time::Monotonic begin_;
};

}  // namespace Quarnix::Stress
