// A node of any of the four kinds, held as a value, and its record on the bus.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <variant>

#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Iterator.h>
#include <platform/hevra/RemoteActuatorNode.h>
#include <platform/hevra/RemoteControllerNode.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Hevra::Stack {

/// The kinds are numbered by their index in this variant.
using AnyNode = std::variant<RemoteActuatorNode, RemoteSensorNode, StackNode, RemoteControllerNode>;
inline constexpr std::size_t KINDS = std::variant_size_v<AnyNode>;

/// Returns what nodes of all kinds have in common.
inline const Node& headOf(const AnyNode& node) {
  return std::visit([](const Node& head) -> const Node& { return head; }, node);
}
inline Node& headOf(AnyNode& node) {
  return std::visit([](Node& head) -> Node& { return head; }, node);
}

/// Returns the kind of the nodes of a class; nothing for a class that has no record.
std::optional<std::size_t> kindOf(NodeClass nodeClass) noexcept;

/// Returns the signature of a kind's record.
const std::string& signatureOf(std::size_t kind);
/// Appends the node's record. Raises Bus::InvalidArgument when a label is not UTF-8.
void append(Bus::Message::Iterator& iterator, const AnyNode& node);
/// Reads a record of the kind; the caller has compared its signature. The iterator is not advanced.
AnyNode read(Bus::Message::ConstIterator& iterator, std::size_t kind);

}  // namespace Quarnix::Hevra::Stack
