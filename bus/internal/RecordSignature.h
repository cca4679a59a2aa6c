// The signatures of the records, put together while compiling. No part of the public interface.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <platform/bus/message/TypeCode.h>

namespace Quarnix::Bus::Type::RecordSignature {

template <std::size_t N>
struct Signature {
  char codes[N + 1]{};

  constexpr operator std::string_view() const noexcept { return {codes, N}; }
  template <std::size_t M>
  friend constexpr Signature<N + M> operator+(const Signature& first, const Signature<M>& second) noexcept {
    Signature<N + M> both;
    std::copy_n(first.codes, N, both.codes);
    std::copy_n(second.codes, M, both.codes + N);
    return both;
  }
};

template <class... T>
inline constexpr Signature<sizeof...(T)> OF{{Message::codeOf<T>()..., '\0'}};
inline constexpr Signature<1> VARIANT{{Message::VARIANT, '\0'}};

template <std::size_t N>
constexpr Signature<N + 1> arrayOf(const Signature<N>& element) noexcept {
  return Signature<1>{{Message::ARRAY, '\0'}} + element;
}
template <std::size_t N>
constexpr Signature<N + 2> structureOf(const Signature<N>& members) noexcept {
  return Signature<1>{{'(', '\0'}} + members + Signature<1>{{')', '\0'}};
}

inline constexpr auto BYTES = arrayOf(OF<std::uint8_t>);

/// A command's fifteen values, and a list of commands.
inline constexpr auto COMMAND = OF<std::uint32_t, std::uint64_t, bool, std::uint32_t> + VARIANT +
                                OF<std::int32_t, std::int32_t, std::uint8_t, std::int32_t, std::string, std::uint32_t,
                                   std::string, std::uint32_t, std::uint8_t, std::uint8_t>;
inline constexpr auto COMMAND_STRUCTURE = structureOf(COMMAND);
inline constexpr auto COMMANDS = arrayOf(COMMAND_STRUCTURE);

}  // namespace Quarnix::Bus::Type::RecordSignature
