// Reads and prints the time of day.
#include <cli/TimeOfDay.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <ctime>

namespace Quarnix::Hevra::Cli {

TimeOfDay TimeOfDay::now() noexcept {
  using namespace std::chrono;
  return TimeOfDay(duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count());
}

std::string TimeOfDay::local(bool withDate) const {
  const auto seconds = static_cast<std::time_t>(milliseconds_ / 1000);
  std::tm parts{};
  ::localtime_r(&seconds, &parts);
  char text[64];
  const std::size_t length = std::strftime(text, sizeof text, withDate ? "%Y-%m-%d %H:%M:%S" : "%H:%M:%S", &parts);
  std::snprintf(text + length, sizeof text - length, ".%03d", static_cast<int>(milliseconds_ % 1000));
  return text;
}

std::string TimeOfDay::universal() const {
  const auto seconds = static_cast<std::time_t>(milliseconds_ / 1000);
  std::tm parts{};
  ::gmtime_r(&seconds, &parts);
  char text[64];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

}  // namespace Quarnix::Hevra::Cli
