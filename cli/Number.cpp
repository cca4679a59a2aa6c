// Reads numbers strictly: without blanks, a plus sign or octal digits.
#include <cli/Number.h>

#include <charconv>
#include <cstdio>

#include <json/Malformed.h>

namespace Quarnix::Hevra::Cli {

using Json::Malformed;

std::uint64_t readNumber(const std::string& where, const std::string& text, std::uint64_t maximum) {
  const auto number = Json::numberOf<std::uint64_t>(text);
  if (!number || *number > maximum)
    throw Malformed(where, "'" + text + "'", "a number from 0 to " + std::to_string(maximum));
  return *number;
}

void refuseName(const std::string& where, const std::string& text, Json::Names names) {
  const bool isNumber = Json::numberOf<std::int64_t>(text).has_value();
  throw Malformed(where, "'" + text + "'", Json::listOf(names) + (isNumber ? "; --raw admits other numbers" : ""));
}

Time::Elapsed readSeconds(const std::string& where, const std::string& text) {
  if (const auto whole = Json::numberOf<std::uint32_t>(text)) return {*whole, 0};
  const char* const end = text.data() + text.size();
  double seconds = -1;
  const auto [stop, error] = std::from_chars(text.data(), end, seconds, std::chars_format::fixed);
  if (error != std::errc() || stop != end || !(seconds >= 0 && seconds <= UINT32_MAX))
    throw Malformed(where, "'" + text + "'", "seconds such as 5 or 0.5");
  return Time::Elapsed::ofNanoseconds(static_cast<std::int64_t>(seconds * 1e9));
}

std::string inSeconds(const Time::Elapsed& time) {
  char text[32];
  std::snprintf(text, sizeof text, "%.12g", static_cast<double>(time.getNanoseconds()) / 1e9);
  return text;
}

double readFraction(const std::string& where, const std::string& text, double least, double most) {
  const char* const end = text.data() + text.size();
  double fraction = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, fraction);
  if (error == std::errc() && stop == end && fraction >= least && fraction <= most) return fraction;
  char range[64];
  std::snprintf(range, sizeof range, "a number from %g to %g", least, most);
  throw Malformed(where, "'" + text + "'", range);
}

}  // namespace Quarnix::Hevra::Cli
