// The system's steady clock. Ask Clock::get() for the clock in force.
#pragma once

#include <platform/core/time/Clock.h>

namespace Quarnix::Time {

class SteadyClock final : public Clock {
 public:
  /// The one that is in force unless another was installed.
  static SteadyClock& get() noexcept;
  static bool isInForce() noexcept { return &Clock::get() == &get(); }

  Monotonic now() const override;
  bool wait(ConditionVariable& condition, Mutex& mutex, const Monotonic& deadline) override HEVRA_REQUIRES(mutex);
  int poll(pollfd* descriptors, nfds_t count, const Monotonic& deadline) override;
};

}  // namespace Quarnix::Time
