// What the node marshallers share among themselves and with the node manager: the signatures of the records, the head
// and the byte blocks, and reading a record without walking it twice. No part of the public interface.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Iterator.h>
#include <platform/hevra/NodeLink.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Bus::Type::NodeRecord {

/// A signature that is put together while compiling.
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
inline constexpr Signature<2> BYTES{{Message::ARRAY, Message::codeOf<std::uint8_t>(), '\0'}};

template <std::size_t N>
constexpr Signature<N + 2> structureOf(const Signature<N>& members) noexcept {
  return Signature<1>{{'(', '\0'}} + members + Signature<1>{{')', '\0'}};
}

inline constexpr auto HEAD = OF<std::uint32_t, std::uint8_t, std::uint16_t, std::uint8_t> + BYTES + BYTES + BYTES +
                             OF<std::uint64_t, std::uint8_t, std::uint32_t, std::uint32_t>;

/// What a kind's record has behind the head.
template <class Kind>
inline constexpr auto MEMBERS = Signature<0>();
template <>
inline constexpr auto MEMBERS<Hevra::RemoteActuatorNode> = OF<std::uint8_t, std::uint16_t>;
template <>
inline constexpr auto MEMBERS<Hevra::RemoteSensorNode> =
    OF<std::uint8_t, std::uint16_t, std::uint16_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t,
       std::uint16_t, bool>;
template <>
inline constexpr auto MEMBERS<Hevra::StackNode> = BYTES + BYTES + BYTES + BYTES + OF<std::string>;

/// The whole record of a kind, and of a link.
template <class Kind>
inline constexpr auto OF_KIND = structureOf(HEAD + MEMBERS<Kind>);
inline constexpr auto LINK = structureOf(OF<std::uint32_t, std::uint32_t, std::string, std::int32_t>);

/// Fills a block of N bytes from the array at the iterator, which stays on it: surplus elements are skipped, missing
/// ones leave the rest of the block as it was. Without an array it raises what is being handled again.
template <std::size_t N>
void readBlock(const Message::ConstIterator& iterator, std::uint8_t* block) {
  if (iterator.type() != Message::ARRAY) throw;
  const auto bytes = iterator.getBytes();
  if (bytes.size() >= N) [[likely]] {
    std::memcpy(block, bytes.data(), N);
  } else {
    std::copy(bytes.begin(), bytes.end(), block);
  }
}

/// What a block that holds `before` becomes by it; steps behind the array.
template <std::size_t N>
std::array<std::uint8_t, N> readBlock(Message::ConstIterator& iterator, std::array<std::uint8_t, N> before) {
  readBlock<N>(iterator, before.data());
  ++iterator;
  return before;
}

template <std::size_t N>
void appendBlock(Message::Iterator& iterator, const std::array<std::uint8_t, N>& block) {
  iterator.appendBytes(block.data(), N);
}

/// Reads the record at the iterator into a node of its kind, and returns the position behind the record's last value,
/// to leave the record by. Without a structure it raises what is being handled again.
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteActuatorNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteControllerNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteSensorNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::StackNode& node);

}  // namespace Quarnix::Bus::Type::NodeRecord
