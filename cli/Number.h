// Reads the numbers on the command line; those in JSON are read by ObjectReader.
#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include <json/Names.h>
#include <json/Number.h>
#include <platform/core/time/Elapsed.h>

namespace Quarnix::Hevra::Cli {

/// Reads a decimal number, or a hexadecimal one that begins with "0x". `where` is the option, such as "--pace". Raises
/// Malformed for anything else and for more than `maximum`.
std::uint64_t readNumber(const std::string& where, const std::string& text, std::uint64_t maximum);

/// Raises Malformed for what is none of the names and numbers.
[[noreturn]] void refuseName(const std::string& where, const std::string& text, Json::Names names);
/// Reads the name of a number, or the number. Raises Malformed for anything else, and for a number without a name
/// unless `isAnyKept`.
template <class T>
T readNamed(const std::string& where, const std::string& text, Json::Names names, bool isAnyKept) {
  if (const auto number = Json::findNumber(names, text)) return static_cast<T>(*number);
  const auto number = Json::numberOf<T>(text);
  if (!number || (!isAnyKept && !Json::hasName(names, static_cast<std::int64_t>(*number))))
    refuseName(where, text, names);
  return *number;
}

/// Reads a number of seconds, which may have a fraction, such as 0.5. Raises Malformed.
Time::Elapsed readSeconds(const std::string& where, const std::string& text);

/// Returns the number of seconds as people write it, such as "0.5".
std::string inSeconds(const Time::Elapsed& time);

/// Reads a decimal fraction. Raises Malformed for anything else and outside `least` to `most`.
double readFraction(const std::string& where, const std::string& text, double least, double most);

/// Returns a function for CLI::App::add_option_function that stores the number in `target`.
template <class T>
auto numberInto(const char* where, T& target) {
  return [where, &target](const std::string& text) {
    target = static_cast<T>(readNumber(where, text, std::numeric_limits<T>::max()));
  };
}

}  // namespace Quarnix::Hevra::Cli
