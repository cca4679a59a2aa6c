// A timer that wakes whoever has it.
#pragma once

#include <functional>
#include <utility>

#include <platform/core/timer/Monotonic.h>

namespace Quarnix::Hevra::Stack {

/// Calls what it was given when its time has come, on the timers' thread. Whoever has it retires it before itself.
class Wake : public Timer::Monotonic {
 public:
  explicit Wake(std::function<void()> wake) : Timer::Monotonic(Time::Monotonic(), false), wake_(std::move(wake)) {}
  ~Wake() override { retire(); }
  using Timer::Monotonic::retire;

  void at(const Time::Monotonic& time) {
    setTime(time, false);
    start();
  }

 private:
  void expired(const Time::Monotonic&) override { wake_(); }
  const std::function<void()> wake_;
};

}  // namespace Quarnix::Hevra::Stack
