// Reads the numbers on the command line; those in JSON are read by ObjectReader.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace Quarnix::Hevra::Cli {

/// Reads a decimal number, or a hexadecimal one that begins with "0x". `where` is the option, such as "--pace". Raises
/// Malformed for anything else and for more than `maximum`.
std::uint64_t readNumber(const std::string& where, const std::string& text, std::uint64_t maximum);

/// Reads the same numbers up to INT32_MAX, and decimal numbers with a '-' before them down to INT32_MIN.
std::int32_t readSigned(const std::string& where, const std::string& text);

/// Reads a decimal fraction. Raises Malformed for anything else and outside `least` to `most`.
double readFraction(const std::string& where, const std::string& text, double least, double most);

/// Returns a function for CLI::App::add_option_function that stores the number in `target`.
template <class T>
auto numberInto(const char* where, T& target) {
  return [where, &target](const std::string& text) {
    if constexpr (std::is_signed_v<T>) {
      target = readSigned(where, text);
    } else {
      target = static_cast<T>(readNumber(where, text, std::numeric_limits<T>::max()));
    }
  };
}

}  // namespace Quarnix::Hevra::Cli
