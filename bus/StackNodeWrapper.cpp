// Writes and reads the record of the stack node, and knows which of its fields are keys.
#include <bus/StackNodeWrapper.h>

#include <bus/NodeWrapper.h>
#include <bus/internal/NodeRecord.h>
#include <platform/bus/Trace.h>
#include <platform/bus/message/internal/Names.h>

namespace Quarnix::Bus::Type {

Message::ConstIterator NodeRecord::read(const Message::ConstIterator& record, Hevra::StackNode& node) {
  if (record.type() != Message::STRUCTURE) throw;
  Message::ConstIterator field = record.begin();
  Wrapper<Hevra::Node>().deserialize(field, node);
  ++field;
  // Both keys use one buffer: missing bytes of the key are 0, missing bytes of the old key are those of the key.
  Hevra::StackNode::Key buffer{};
  NodeRecord::readBlock(field, buffer);
  node.setKey(buffer.data());
  NodeRecord::readBlock(field, buffer);
  node.setOldKey(buffer.data());
  auto shortBlock = node.getShortBlock();
  NodeRecord::readBlock(field, shortBlock);
  node.setShortBlock(shortBlock.data());
  auto longBlock = node.getLongBlock();
  NodeRecord::readBlock(field, longBlock);
  node.setLongBlock(longBlock.data());
  std::string_view label;
  field.read(label);
  node.setLabel(std::string(label));
  return field;
}

namespace {

/// In the record of a stack node, the third identity, the key and the old key are keys. In "changekey", the second
/// argument is one.
bool isKey(const Message::Any& message, std::string_view structure, unsigned field) noexcept {
  if (structure.empty()) return field == 1 && std::string_view(message.getMember()) == "changekey";
  return structure == std::string_view(NodeRecord::OF_KIND<Hevra::StackNode>) &&
         (field == 6 || field == 11 || field == 12);
}

}  // namespace

StructWrapper<Hevra::StackNode>::~StructWrapper() = default;

void StructWrapper<Hevra::StackNode>::hideKeysInTraces() noexcept { Trace::setRedactor(&isKey); }

void StructWrapper<Hevra::StackNode>::serialize(Message::Iterator& iterator, const Hevra::StackNode& node) const {
  Message::require(Message::checkText(node.getLabel()), "label of the stack node", node.getLabel());
  Message::Iterator structure = iterator.begin(Message::STRUCTURE);
  Wrapper<Hevra::Node>().serialize(structure, node);
  NodeRecord::appendBlocks(structure, node.getKey(), node.getOldKey(), node.getShortBlock(), node.getLongBlock());
  structure.append(node.getLabel());
  iterator.end(structure);
}

void StructWrapper<Hevra::StackNode>::deserialize(Message::ConstIterator& iterator, Hevra::StackNode& node) const {
  NodeRecord::read(iterator, node);
}

std::string StructWrapper<Hevra::StackNode>::signature() const {
  return std::string(NodeRecord::OF_KIND<Hevra::StackNode>);
}

}  // namespace Quarnix::Bus::Type
