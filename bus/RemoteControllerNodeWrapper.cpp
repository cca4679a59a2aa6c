// Writes and reads the record of a controller node.
#include <bus/RemoteControllerNodeWrapper.h>

#include <bus/NodeWrapper.h>
#include <bus/internal/NodeRecord.h>

namespace Quarnix::Bus::Type {

Message::ConstIterator NodeRecord::read(const Message::ConstIterator& record, Hevra::RemoteControllerNode& node) {
  if (record.type() != Message::STRUCTURE) throw;
  Message::ConstIterator field = record.begin();
  Wrapper<Hevra::Node>().deserialize(field, node);
  ++field;
  return field;
}

StructWrapper<Hevra::RemoteControllerNode>::~StructWrapper() = default;

void StructWrapper<Hevra::RemoteControllerNode>::serialize(Message::Iterator& iterator,
                                                           const Hevra::RemoteControllerNode& node) const {
  Message::Iterator structure = iterator.begin(Message::STRUCTURE);
  Wrapper<Hevra::Node>().serialize(structure, node);
  iterator.end(structure);
}

void StructWrapper<Hevra::RemoteControllerNode>::deserialize(Message::ConstIterator& iterator,
                                                             Hevra::RemoteControllerNode& node) const {
  NodeRecord::read(iterator, node);
}

std::string StructWrapper<Hevra::RemoteControllerNode>::signature() const {
  return std::string(NodeRecord::OF_KIND<Hevra::RemoteControllerNode>);
}

}  // namespace Quarnix::Bus::Type
