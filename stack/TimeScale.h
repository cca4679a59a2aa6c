// How the times of the simulated stack become times of the process's clock.
#pragma once

#include <cstdint>

#include <platform/core/time/Elapsed.h>
#include <stack/Plan.h>
#include <stack/Timeline.h>

namespace Quarnix::Hevra::Stack {

/// Returns how long the span takes if time passes `scale` times as fast, to the nanosecond. At most 100 years.
constexpr Time::Elapsed scaled(const Time::Elapsed& span, double scale) noexcept {
  constexpr double MOST = 100.0 * 365 * 24 * 3600 * 1e9;
  if (scale == 1) return span;
  const double nanoseconds = static_cast<double>(span.getNanoseconds()) / scale;
  return Time::Elapsed::ofNanoseconds(static_cast<std::int64_t>(nanoseconds < MOST ? nanoseconds : MOST));
}

/// Do the same with all times of a plan and of a timeline.
Plan scaled(Plan plan, double scale);
Timeline scaled(Timeline timeline, double scale);

}  // namespace Quarnix::Hevra::Stack
