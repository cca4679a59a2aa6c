// Signatures that are put together while compiling.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include <platform/bus/message/TypeCode.h>

namespace Quarnix::Bus::Message {

/// A signature of N characters. This is the one way to the signature of a record: `SIGNATURE_OF` names basic types,
/// `+` joins signatures, `arrayOf` and `structureOf` put a container around one:
///
///   constexpr auto POINT = structureOf(SIGNATURE_OF<std::int32_t, std::int32_t>);  // "(ii)"
///   constexpr auto LINE = arrayOf(POINT) + SIGNATURE_OF<std::string>;              // "a(ii)s"
template <std::size_t N>
struct Signature {
  char codes[N + 1]{};  // the last one is NUL

  constexpr operator std::string_view() const noexcept { return {codes, N}; }
  friend constexpr bool operator==(std::string_view text, const Signature& signature) noexcept {
    return text == std::string_view(signature);
  }

  template <std::size_t M>
  friend constexpr Signature<N + M> operator+(const Signature& first, const Signature<M>& second) noexcept {
    Signature<N + M> both;
    std::copy_n(first.codes, N, both.codes);
    std::copy_n(second.codes, M, both.codes + N);
    return both;
  }
};

/// The signature of values of these basic types, one behind the other. It stands here and not in the iterators that
/// use it, because the shared library would export a static of theirs.
template <class... T>
inline constexpr Signature<sizeof...(T)> SIGNATURE_OF{{codeOf<T>()..., '\0'}};

template <std::size_t N>
constexpr Signature<N + 1> arrayOf(const Signature<N>& element) noexcept {
  return Signature<1>{{ARRAY, '\0'}} + element;
}
template <std::size_t N>
constexpr Signature<N + 2> structureOf(const Signature<N>& members) noexcept {
  return Signature<1>{{'(', '\0'}} + members + Signature<1>{{')', '\0'}};
}

inline constexpr auto BYTES = arrayOf(SIGNATURE_OF<std::uint8_t>);
inline constexpr Signature<1> OBJECT_PATH{{'o', '\0'}};
inline constexpr Signature<1> ANY_VALUE{{VARIANT, '\0'}};

}  // namespace Quarnix::Bus::Message
