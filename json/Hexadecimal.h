// Converts bytes to hexadecimal digits and back.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Quarnix::Hevra::Json {

/// Reads two digits a byte, in upper or lower case. Returns nothing when the number of characters is odd or one of them
/// is no digit.
std::optional<std::vector<std::uint8_t>> bytesOf(std::string_view digits);

/// Returns two lower-case digits a byte.
std::string digitsOf(std::span<const std::uint8_t> bytes);

}  // namespace Quarnix::Hevra::Json
