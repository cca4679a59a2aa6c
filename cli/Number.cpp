// Reads numbers strictly: without blanks, a plus sign or octal digits.
#include <cli/Number.h>

#include <charconv>
#include <cstdio>

#include <json/Malformed.h>

namespace Quarnix::Hevra::Cli {

using Json::Malformed;

std::uint64_t readNumber(const std::string& where, const std::string& text, std::uint64_t maximum) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  const char* const end = text.data() + text.size();
  std::uint64_t number = 0;
  const auto [stop, error] = std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end || number > maximum)
    throw Malformed(where, "'" + text + "'", "a number from 0 to " + std::to_string(maximum));
  return number;
}

std::int32_t readSigned(const std::string& where, const std::string& text) {
  if (!text.starts_with('-')) return static_cast<std::int32_t>(readNumber(where, text, INT32_MAX));
  const char* const end = text.data() + text.size();
  std::int32_t number = 0;
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || stop != end)
    throw Malformed(where, "'" + text + "'",
                    "a number from " + std::to_string(INT32_MIN) + " to " + std::to_string(INT32_MAX));
  return number;
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
