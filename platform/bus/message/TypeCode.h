// The type codes of C++ types on the wire.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace Quarnix::Bus::Message {

/// The codes of containers in the iterators' operations. A signature shows a structure as parentheses, and a dictionary
/// entry as braces.
constexpr int STRUCTURE = 'r';
constexpr int ARRAY = 'a';
constexpr int VARIANT = 'v';
constexpr int DICTIONARY_ENTRY = 'e';

template <class T>
constexpr bool IS_TEXT = std::is_convertible_v<const T&, std::string_view>;

/// A text that writes its beginning straight into a message: at most LONGEST_HEAD characters of ASCII. `rest` follows.
template <class T>
concept HasHead = requires(const T& text, char* to) {
  T::LONGEST_HEAD;
  to = text.writeHead(to);
  std::string_view(text.rest());
};

/// The code of a basic type: an integer's follows from its width and signedness (so `unsigned long` and `unsigned long
/// long` are both "t" if both have 64 bits), a text's is 's'.
template <class T>
constexpr char codeOf() noexcept {
  if constexpr (std::is_same_v<T, bool>) {
    return 'b';
  } else if constexpr (IS_TEXT<T> || HasHead<T>) {
    return 's';
  } else if constexpr (std::is_same_v<T, double>) {
    return 'd';
  } else {
    static_assert(std::is_integral_v<T> && !std::is_same_v<T, char> && !std::is_same_v<T, signed char> &&
                      !std::is_same_v<T, wchar_t>,
                  "not a basic type of the bus");
    constexpr bool SIGNED = std::is_signed_v<T>;
    if constexpr (sizeof(T) == 1) return 'y';
    if constexpr (sizeof(T) == 2) return SIGNED ? 'n' : 'q';
    if constexpr (sizeof(T) == 4) return SIGNED ? 'i' : 'u';
    if constexpr (sizeof(T) == 8) return SIGNED ? 'x' : 't';
  }
}

/// How many bytes a value of T has on the wire: a bool has four.
template <class T>
constexpr std::size_t WIRE_SIZE = std::is_same_v<T, bool> ? 4 : sizeof(T);

}  // namespace Quarnix::Bus::Message
