// Writes bytes as hexadecimal digits.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace Quarnix {

/// Appends two lower-case digits a byte.
inline void appendHexadecimal(std::string& text, std::span<const std::uint8_t> bytes) {
  constexpr const char* DIGITS = "0123456789abcdef";
  text.reserve(text.size() + bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
  }
}

}  // namespace Quarnix
