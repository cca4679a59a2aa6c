// Two digits a byte.
#include <stack/forms/Hexadecimal.h>

#include <charconv>

namespace Quarnix::Hevra::Stack::Forms {

std::optional<std::vector<std::uint8_t>> bytesOf(std::string_view digits) {
  if (digits.size() % 2 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes(digits.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char* const pair = digits.data() + 2 * i;
    const auto [stop, error] = std::from_chars(pair, pair + 2, bytes[i], 16);
    if (error != std::errc() || stop != pair + 2) return std::nullopt;
  }
  return bytes;
}

std::string digitsOf(std::span<const std::uint8_t> bytes) {
  constexpr const char* DIGITS = "0123456789abcdef";
  std::string digits;
  digits.reserve(bytes.size() * 2);
  for (const std::uint8_t byte : bytes) {
    digits += DIGITS[byte >> 4];
    digits += DIGITS[byte & 15];
  }
  return digits;
}

}  // namespace Quarnix::Hevra::Stack::Forms
