// A point of monotonic time.
#pragma once

#include <platform/core/time/Elapsed.h>

namespace Quarnix::Time {

/// A point of the process clock's time (see Clock), which never steps. Where a flag says so, it is a time relative to
/// some start instead.
class Monotonic {
 public:
  constexpr Monotonic() noexcept = default;
  constexpr explicit Monotonic(const Elapsed& sinceZero) noexcept : sinceZero_(sinceZero) {}

  /// A deadline that is never reached.
  static constexpr Monotonic never() noexcept {
    return Monotonic(Elapsed::ofNanoseconds(std::numeric_limits<std::int64_t>::max()));
  }

  constexpr const Elapsed& getElapsed() const noexcept { return sinceZero_; }
  constexpr bool isNever() const noexcept { return *this == never(); }

  friend constexpr auto operator<=>(const Monotonic&, const Monotonic&) noexcept = default;
  friend constexpr Monotonic operator+(const Monotonic& a, const Elapsed& b) noexcept {
    return Monotonic(a.sinceZero_ + b);
  }
  /// The span from `b` to `a`.
  friend constexpr Elapsed operator-(const Monotonic& a, const Monotonic& b) noexcept {
    return Elapsed::ofNanoseconds(a.sinceZero_.getNanoseconds() - b.sinceZero_.getNanoseconds());
  }

 private:
  Elapsed sinceZero_;
};

}  // namespace Quarnix::Time
