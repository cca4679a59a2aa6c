// Reads digits; the platform writes them.
#include <json/Hexadecimal.h>

#include <charconv>

#include <platform/core/internal/Hexadecimal.h>

namespace Quarnix::Hevra::Json {

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
  std::string digits;
  appendHexadecimal(digits, bytes);
  return digits;
}

}  // namespace Quarnix::Hevra::Json
