// What the node marshallers share among themselves and with the node manager: the signatures of the records, the head
// and the byte blocks, and reading a record without walking it twice. No part of the public interface.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/internal/RecordSignature.h>
#include <platform/hevra/NodeLink.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Bus::Type::NodeRecord {

using RecordSignature::BYTES;
using RecordSignature::OF;
using RecordSignature::Signature;
using RecordSignature::structureOf;

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

template <std::size_t N>
using Block = FixedSequenceContainerWrapper<unsigned char, Wrapper, N>;

template <std::size_t... N>
void appendBlocks(Message::Iterator& iterator, const std::array<std::uint8_t, N>&... blocks) {
  (Block<N>().serialize(iterator, blocks), ...);
}

/// Reads the array at the iterator into the block, and steps behind it.
template <std::size_t N>
void readBlock(Message::ConstIterator& iterator, std::array<std::uint8_t, N>& block) {
  Block<N>().deserialize(iterator, block);
  ++iterator;
}

/// Reads the record at the iterator into a node of its kind, and returns the position behind the record's last value,
/// to leave the record by. Without a structure it raises what is being handled again.
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteActuatorNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteControllerNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::RemoteSensorNode& node);
Message::ConstIterator read(const Message::ConstIterator& record, Hevra::StackNode& node);

}  // namespace Quarnix::Bus::Type::NodeRecord
