// Bytes as hexadecimal digits.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Quarnix::Hevra::Stack::Forms {

/// The bytes that the digits say, of either case; none for an odd number of digits or anything else among them.
std::optional<std::vector<std::uint8_t>> bytesOf(std::string_view digits);

/// Two lower-case digits a byte.
std::string digitsOf(std::span<const std::uint8_t> bytes);

}  // namespace Quarnix::Hevra::Stack::Forms
