// Looks at each character of a text.
#include <stack/forms/Printable.h>

#include <cstdint>
#include <cstdio>

namespace Quarnix::Hevra::Stack::Forms {

namespace {

/// How many bytes the printable character at the beginning has; 0 when there is none.
std::size_t lengthOfCharacter(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t first = byte(0);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  if (first < 0xC2 || first > 0xF4 || length > text.size()) return 0;
  std::uint32_t code = first & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xC0) != 0x80) return 0;
    code = code << 6 | (byte(i) & 0x3FU);
  }
  constexpr std::uint32_t LEAST[] = {0xA0, 0x800, 0x10000};  // below 0xA0 are control characters
  const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
  return code < LEAST[length - 2] || code > 0x10FFFF || isSurrogate ? 0 : length;
}

}  // namespace

std::string printable(std::string_view text) {
  std::string line;
  while (!text.empty()) {
    std::size_t length = lengthOfCharacter(text);
    if (length > 0) {
      line += text.substr(0, length);
    } else if (length = 1; text.front() == '\n') {
      line += ' ';
    } else {
      char number[5];
      std::snprintf(number, sizeof number, "\\x%02x", unsigned{static_cast<std::uint8_t>(text.front())});
      line += number;
    }
    text.remove_prefix(length);
  }
  return line;
}

}  // namespace Quarnix::Hevra::Stack::Forms
