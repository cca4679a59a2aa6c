// Writes and reads the record of an actuator node.
#include <bus/RemoteActuatorNodeWrapper.h>

#include <bus/NodeWrapper.h>
#include <bus/internal/NodeRecord.h>

namespace Quarnix::Bus::Type {

Message::ConstIterator NodeRecord::read(const Message::ConstIterator& record, Hevra::RemoteActuatorNode& node) {
  if (record.type() != Message::STRUCTURE) throw;
  Message::ConstIterator field = record.begin();
  Wrapper<Hevra::Node>().deserialize(field, node);
  ++field;
  std::uint8_t multiInformationByte = 0;
  std::uint16_t timeStamp = 0;
  field.read(multiInformationByte, timeStamp);
  Hevra::ActuatorInformation& info = node.getInfo();
  info.setNodeType(node.getNodeType());
  info.setManufacturerId(node.getManufacturerId());
  info.setBackboneAddress(node.getBackboneAddress());
  info.setMultiInformationByte(multiInformationByte);
  info.setTimeStamp(timeStamp);
  return field;
}

StructWrapper<Hevra::RemoteActuatorNode>::~StructWrapper() = default;

void StructWrapper<Hevra::RemoteActuatorNode>::serialize(Message::Iterator& iterator,
                                                         const Hevra::RemoteActuatorNode& node) const {
  Message::Iterator structure = iterator.begin(Message::STRUCTURE);
  Wrapper<Hevra::Node>().serialize(structure, node);
  const Hevra::ActuatorInformation& info = node.getInfo();
  structure.append(info.getMultiInformationByte(), info.getTimeStamp());
  iterator.end(structure);
}

void StructWrapper<Hevra::RemoteActuatorNode>::deserialize(Message::ConstIterator& iterator,
                                                           Hevra::RemoteActuatorNode& node) const {
  NodeRecord::read(iterator, node);
}

std::string StructWrapper<Hevra::RemoteActuatorNode>::signature() const {
  return std::string(NodeRecord::OF_KIND<Hevra::RemoteActuatorNode>);
}

}  // namespace Quarnix::Bus::Type
