// The time of day, for people to read. It may jump, so measure with Time::Clock.
#pragma once

#include <cstdint>
#include <string>

namespace Quarnix::Hevra::Cli {

class TimeOfDay {
 public:
  /// Reads the time, to the millisecond.
  static TimeOfDay now() noexcept;

  /// Returns the seconds since 1970.
  double sinceEpoch() const noexcept { return static_cast<double>(milliseconds_) / 1e3; }
  /// Returns the local time, such as "14:05:09.123", with the date before it if `withDate` is set.
  std::string local(bool withDate) const;
  /// Returns the universal time with the date, such as "2026-11-22T13:05:09Z".
  std::string universal() const;

 private:
  explicit TimeOfDay(std::int64_t milliseconds) noexcept : milliseconds_(milliseconds) {}

  std::int64_t milliseconds_;  // since 1970
};

}  // namespace Quarnix::Hevra::Cli
