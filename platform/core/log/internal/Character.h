// Tells which characters of a text from outside may be shown.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include <platform/core/internal/Hexadecimal.h>
#include <platform/core/internal/Utf8.h>

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
  const std::size_t length = Utf8::lengthOfFirst(text);
  if (length == 0) return {1, static_cast<std::uint8_t>(text.front()), false};
  const std::uint32_t code = Utf8::codePointOf(text.substr(0, length));
  const bool isControl = code < 0x20 || (code >= 0x7F && code < 0xA0) || (code >= 0x2028 && code <= 0x202E) ||
                         (code >= 0x2066 && code <= 0x2069);
  return {length, code, !isControl};
}

/// Hands `take` the text in pieces that fit one line of a log or of a terminal. A line break becomes a space, and each
/// byte of a character that is not printable becomes its number, such as "\x1b". Ends early when `take` returns false.
template <class Take>
void escape(std::string_view text, const Take& take) {
  while (!text.empty()) {
    const Character character = firstOf(text);
    if (character.isPrintable || text.front() == '\n') {
      if (!take(character.isPrintable ? text.substr(0, character.length) : " ")) return;
    } else {
      for (const char c : text.substr(0, character.length)) {
        const auto byte = static_cast<std::uint8_t>(c);
        const char number[] = {'\\', 'x', HEXADECIMAL_DIGITS[byte >> 4], HEXADECIMAL_DIGITS[byte & 15]};
        if (!take({number, sizeof number})) return;
      }
    }
    text.remove_prefix(character.length);
  }
}

}  // namespace Quarnix::Log
