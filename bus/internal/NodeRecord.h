// What the node wrappers and the node manager share: the signatures of the records, the blocks of bytes, and a way to
// read a record without walking it twice. No part of the public interface.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include <bus/FixedSequenceContainerWrapper.h>
#include <platform/bus/message/Signature.h>
#include <platform/hevra/NodeLink.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Bus::Type::NodeRecord {

using Message::BYTES;
using Message::SIGNATURE_OF;
using Message::structureOf;

inline constexpr auto HEAD = SIGNATURE_OF<std::uint32_t, std::uint8_t, std::uint16_t, std::uint8_t> + BYTES + BYTES +
                             BYTES + SIGNATURE_OF<std::uint64_t, std::uint8_t, std::uint32_t, std::uint32_t>;

/// The values behind the head in the record of a kind.
template <class Kind>
inline constexpr auto MEMBERS = SIGNATURE_OF<>;
template <>
inline constexpr auto MEMBERS<Hevra::RemoteActuatorNode> = SIGNATURE_OF<std::uint8_t, std::uint16_t>;
template <>
inline constexpr auto MEMBERS<Hevra::RemoteSensorNode> =
    SIGNATURE_OF<std::uint8_t, std::uint16_t, std::uint16_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t,
                 std::uint8_t, std::uint16_t, bool>;
template <>
inline constexpr auto MEMBERS<Hevra::StackNode> = BYTES + BYTES + BYTES + BYTES + SIGNATURE_OF<std::string>;

/// The whole record of a kind of node, and the record of a link.
template <class Kind>
inline constexpr auto OF_KIND = structureOf(HEAD + MEMBERS<Kind>);
inline constexpr auto LINK = structureOf(SIGNATURE_OF<std::uint32_t, std::uint32_t, std::string, std::int32_t>);

template <std::size_t N>
using Block = FixedSequenceContainerWrapper<unsigned char, Wrapper, N>;

template <std::size_t... N>
void appendBlocks(Message::Iterator& iterator, const std::array<std::uint8_t, N>&... blocks) {
  (Block<N>().serialize(iterator, blocks), ...);
}

/// Reads the array at the iterator into the block, and steps over it.
template <std::size_t N>
void readBlock(Message::ConstIterator& iterator, std::array<std::uint8_t, N>& block) {
  Block<N>().deserialize(iterator, block);
  std::span<const std::uint8_t> passed;
  iterator.read(passed);
}

/// Reads the record at the iterator into a node of its kind. Returns the position behind the record's last value, for
/// `ConstIterator::leave`. Precondition: the signature matches (see Wrapper).
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteActuatorNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteControllerNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteSensorNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::StackNode& node);

}  // namespace Quarnix::Bus::Type::NodeRecord
