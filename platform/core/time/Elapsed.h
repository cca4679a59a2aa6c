// A span of time.
#pragma once

#include <compare>
#include <cstdint>
#include <limits>

namespace Quarnix::Time {

/// A span of seconds and nanoseconds, kept as signed 64-bit nanoseconds; beyond about 292 years it saturates.
class Elapsed {
 public:
  constexpr Elapsed() noexcept = default;
  constexpr Elapsed(std::int64_t seconds, std::int64_t nanoseconds) noexcept
      : nanoseconds_(saturatingAdd(saturatingSeconds(seconds), nanoseconds)) {}

  static constexpr Elapsed ofNanoseconds(std::int64_t nanoseconds) noexcept { return Elapsed(0, nanoseconds); }
  static constexpr Elapsed ofMilliseconds(std::int64_t milliseconds) noexcept {
    return Elapsed(milliseconds / 1000, milliseconds % 1000 * 1'000'000);
  }

  constexpr std::int64_t getNanoseconds() const noexcept { return nanoseconds_; }
  /// Whole seconds, rounded towards zero.
  constexpr std::int64_t getSeconds() const noexcept { return nanoseconds_ / 1'000'000'000; }

  friend constexpr auto operator<=>(const Elapsed&, const Elapsed&) noexcept = default;
  friend constexpr Elapsed operator+(const Elapsed& a, const Elapsed& b) noexcept {
    return ofNanoseconds(saturatingAdd(a.nanoseconds_, b.nanoseconds_));
  }

  static constexpr std::int64_t saturatingAdd(std::int64_t a, std::int64_t b) noexcept {
    std::int64_t sum = 0;
    if (!__builtin_add_overflow(a, b, &sum)) return sum;
    return a < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }

 private:
  static constexpr std::int64_t saturatingSeconds(std::int64_t seconds) noexcept {
    std::int64_t product = 0;
    if (!__builtin_mul_overflow(seconds, std::int64_t{1'000'000'000}, &product)) return product;
    return seconds < 0 ? std::numeric_limits<std::int64_t>::min() : std::numeric_limits<std::int64_t>::max();
  }

  std::int64_t nanoseconds_ = 0;
};

}  // namespace Quarnix::Time
