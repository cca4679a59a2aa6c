// Checks signatures, and walks those that are well formed.
#pragma once

#include <cstddef>
#include <string_view>

namespace Quarnix::Bus::Message {

/// Null if `signature` is a sequence of complete types within the limits, otherwise the rule that it breaks.
const char* checkSignature(std::string_view signature) noexcept;
/// The same for exactly one complete type.
const char* checkSingleType(std::string_view signature) noexcept;

/// Where the structure or dictionary entry at `signature` ends.
const char* skipBrackets(const char* signature) noexcept;

/// Where the complete type at `signature` ends. The signature must be well formed and not at its end.
inline const char* skipType(const char* signature) noexcept {
  while (*signature == 'a') ++signature;
  return *signature == '(' || *signature == '{' ? skipBrackets(signature) : signature + 1;
}

/// The alignment in bytes of a value whose type begins with `code`: 1, 2, 4 or 8.
constexpr std::size_t alignmentOf(char code) noexcept {
  switch (code) {
    case 'n':
    case 'q':
      return 2;
    case 'b':
    case 'i':
    case 'u':
    case 's':
    case 'o':
    case 'a':
    case 'h':
      return 4;
    case 'x':
    case 't':
    case 'd':
    case '(':
    case '{':
      return 8;
    default:
      return 1;
  }
}

/// The size in bytes of a value of a type of fixed size; 0 for any other type.
constexpr std::size_t fixedSizeOf(char code) noexcept {
  switch (code) {
    case 'y':
      return 1;
    case 'n':
    case 'q':
      return 2;
    case 'b':
    case 'i':
    case 'u':
    case 'h':
      return 4;
    case 'x':
    case 't':
    case 'd':
      return 8;
    default:
      return 0;
  }
}

}  // namespace Quarnix::Bus::Message
