// Tells which characters of a text from outside may be shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Quarnix::Log {

struct Character {
  std::size_t length;  // in bytes
  std::uint32_t code;  // of what is no UTF-8: the byte
  bool isPrintable;    // false for what is no UTF-8
};

/// Returns the first character of a text that is not empty. These are not printable: control characters (C0, DEL, C1),
/// the overrides, embeddings and isolates of bidirectional text, the separators of lines and paragraphs, and bytes that
/// are no UTF-8.
inline Character firstOf(std::string_view text) noexcept {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t first = byte(0);
  if (first < 0x80) return {1, first, first >= 0x20 && first != 0x7F};
  const Character invalid{1, first, false};
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || length > text.size()) return invalid;
  std::uint32_t code = first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return invalid;
    code = code << 6 | (byte(i) & 0x3FU);
  }
  constexpr std::uint32_t LEAST[] = {0x80, 0x800, 0x10000};
  if (code < LEAST[length - 2] || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return invalid;
  const bool isControl = code < 0xA0 || (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
  return {length, code, !isControl};
}

/// Hands `take` the text in pieces that fit one line of a log or of a terminal. A line break becomes a space, and each
/// byte of a character that is not printable becomes its number, such as "\x1b". Ends early when `take` returns false.
template <class Take>
void escape(std::string_view text, const Take& take) {
  constexpr const char* DIGITS = "0123456789abcdef";
  while (!text.empty()) {
    const Character character = firstOf(text);
    if (character.isPrintable || text.front() == '\n') {
      if (!take(character.isPrintable ? text.substr(0, character.length) : " ")) return;
    } else {
      for (const char c : text.substr(0, character.length)) {
        const auto byte = static_cast<std::uint8_t>(c);
        const char number[] = {'\\', 'x', DIGITS[byte >> 4], DIGITS[byte & 15]};
        if (!take({number, sizeof number})) return;
      }
    }
    text.remove_prefix(character.length);
  }
}

}  // namespace Quarnix::Log
