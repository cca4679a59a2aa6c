// A timer that calls a function.
#pragma once

#include <functional>
#include <utility>

#include <platform/core/timer/Monotonic.h>

namespace Quarnix::Hevra::Stack {

/// Calls the function when its time has come, on the timers' thread or within Dispatcher::dispatch. The owner retires
/// it before anything that the function uses.
class Wake : public Timer::Monotonic {
 public:
  explicit Wake(std::function<void()> wake) : Timer::Monotonic(Time::Monotonic(), false), wake_(std::move(wake)) {}
  ~Wake() override { retire(); }
  using Timer::Monotonic::retire;

  /// Sets the time of the next call.
  void at(const Time::Monotonic& time) {
    setTime(time, false);
    start();
  }

 private:
  void expired(const Time::Monotonic&) override { wake_(); }
  const std::function<void()> wake_;
};

}  // namespace Quarnix::Hevra::Stack
