// Writes bytes as hexadecimal digits.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace Quarnix {

inline constexpr char HEXADECIMAL_DIGITS[] = "0123456789abcdef";

/// Appends two lower-case digits a byte.
inline void appendHexadecimal(std::string& text, std::span<const std::uint8_t> bytes) {
  text.reserve(text.size() + bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    text += HEXADECIMAL_DIGITS[byte >> 4];
    text += HEXADECIMAL_DIGITS[byte & 15];
  }
}

}  // namespace Quarnix
