// Numbers on the command line. Those inside JSON are read by ObjectReader.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

namespace Quarnix::Hevra::Stack::Forms {

/// Reads a number, decimal or hexadecimal behind "0x"; `where` is what it was given for, such as "--pace". Raises
/// Malformed for anything else and for more than `maximum`.
std::uint64_t readNumber(const std::string& where, const std::string& text, std::uint64_t maximum);

/// The same for numbers that may be below zero: a '-' before a decimal number.
std::int32_t readSigned(const std::string& where, const std::string& text);

/// Reads a rate, a decimal fraction from 0 to 1. Raises Malformed.
double readRate(const std::string& where, const std::string& text);

/// A function for CLI::App::add_option_function that puts the number into `target`.
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

}  // namespace Quarnix::Hevra::Stack::Forms
