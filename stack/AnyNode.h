// A node of any of the four kinds as a value, and its record on the bus.
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

/// A kind is known by its index here.
using AnyNode = std::variant<RemoteActuatorNode, RemoteSensorNode, StackNode, RemoteControllerNode>;
inline constexpr std::size_t KINDS = std::variant_size_v<AnyNode>;

inline const Node& headOf(const AnyNode& node) {
  return std::visit([](const Node& head) -> const Node& { return head; }, node);
}
inline Node& headOf(AnyNode& node) {
  return std::visit([](Node& head) -> Node& { return head; }, node);
}

/// The kind of the nodes of a class; none for a class without a record.
std::optional<std::size_t> kindOf(NodeClass nodeClass) noexcept;

/// The signature of a kind's record.
const std::string& signatureOf(std::size_t kind);
/// Appends the node's record. Raises Bus::InvalidArgument for a label that is not UTF-8.
void append(Bus::Message::Iterator& iterator, const AnyNode& node);
/// Reads the record of that kind, whose signature has been compared; the iterator stays on it.
AnyNode read(Bus::Message::ConstIterator& iterator, std::size_t kind);

}  // namespace Quarnix::Hevra::Stack
