// Scales plans and timelines.
#include <stack/TimeScale.h>

#include <algorithm>

namespace Quarnix::Hevra::Stack {

Plan scaled(Plan plan, double scale) {
  for (Rule& rule : plan) rule.effect.time = scaled(rule.effect.time, scale);
  return plan;
}

Timeline scaled(Timeline timeline, double scale) {
  constexpr Time::Elapsed LEAST{0, 1};
  for (Happening& happening : timeline) {
    happening.at = scaled(happening.at, scale);
    if (happening.every) happening.every = std::max(scaled(*happening.every, scale), LEAST);
    if (auto* const restart = std::get_if<Happening::Restart>(&happening.what))
      restart->away = scaled(restart->away, scale);
  }
  return timeline;
}

}  // namespace Quarnix::Hevra::Stack
