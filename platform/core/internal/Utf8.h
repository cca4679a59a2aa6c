// Goes through UTF-8 character by character. Internal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Quarnix::Utf8 {

/// Returns how many bytes the first character of a text has, 1 to 4, or 0 when the text does not begin with valid
/// UTF-8. The text must not be empty.
inline std::size_t lengthOfFirst(std::string_view text) noexcept {
  const auto byte = [text](std::size_t i) -> unsigned { return static_cast<std::uint8_t>(text[i]); };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4) return 0;
  const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
  if (text.size() < length) return 0;
  // The second byte's range excludes overlong encodings, surrogates and what lies beyond U+10FFFF.
  const unsigned least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  const unsigned most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
  if (byte(1) < least || byte(1) > most) return 0;
  for (std::size_t i = 2; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
  }
  return length;
}

/// Returns the code point of a valid character.
inline std::uint32_t codePointOf(std::string_view character) noexcept {
  const auto lead = static_cast<std::uint8_t>(character.front());
  std::uint32_t code = character.size() == 1 ? lead : lead & (0x7FU >> character.size());
  for (const char next : character.substr(1)) code = code << 6 | (static_cast<std::uint8_t>(next) & 0x3FU);
  return code;
}

}  // namespace Quarnix::Utf8
