// Reads the numbers that people write.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace Quarnix::Hevra::Json {

/// Returns the number if the text is one in the range of the integer T, and nothing else: decimal, or hexadecimal with
/// "0x" before it. A decimal number may begin with '-'.
template <class T>
std::optional<T> numberOf(std::string_view text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  if (hexadecimal && text.starts_with('-')) return {};
  T number{};
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) return {};
  return number;
}

}  // namespace Quarnix::Hevra::Json
