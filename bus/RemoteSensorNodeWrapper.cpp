// Writes and reads the record of a sensor node.
#include <bus/RemoteSensorNodeWrapper.h>

#include <bus/NodeWrapper.h>
#include <bus/internal/NodeRecord.h>

namespace Quarnix::Bus::Type {

Message::ConstIterator NodeRecord::read(const Message::ConstIterator& record, Hevra::RemoteSensorNode& node) {
  if (record.type() != Message::STRUCTURE) throw;
  Message::ConstIterator field = record.begin();
  Wrapper<Hevra::Node>().deserialize(field, node);
  ++field;
  Hevra::SensorInformation& info = node.getInfo();
  info.setManufacturerId(node.getManufacturerId());
  info.setSensorType(static_cast<std::uint8_t>(node.getNodeType() >> 6));
  info.setBackboneAddress(node.getBackboneAddress());
  std::uint8_t parameterType = 0, scale = 0, resolution = 0, resolutionScale = 0, mode = 0, events = 0;
  std::uint16_t minimum = 0, maximum = 0, period = 0;
  bool listening = false;
  field.read(parameterType, minimum, maximum, scale, resolution, resolutionScale, mode, events, period, listening);
  info.setMeasuredValueParameterType(parameterType);
  info.setMinimalSensedValue(minimum);
  info.setMaximalSensedValue(maximum);
  info.setScaleFactor(scale);
  info.setResolutionValue(resolution);
  info.setResolutionScaleFactor(resolutionScale);
  info.setOperatingMode(mode);
  info.setMaxNumberOfEventHandled(events);
  info.setMinRefreshTimePeriod(period);
  node.setListening(listening);
  return field;
}

StructWrapper<Hevra::RemoteSensorNode>::~StructWrapper() = default;

void StructWrapper<Hevra::RemoteSensorNode>::serialize(Message::Iterator& iterator,
                                                       const Hevra::RemoteSensorNode& node) const {
  Message::Iterator structure = iterator.begin(Message::STRUCTURE);
  Wrapper<Hevra::Node>().serialize(structure, node);
  const Hevra::SensorInformation& info = node.getInfo();
  structure.append(info.getMeasuredValueParameterType(), info.getMinimalSensedValue(), info.getMaximalSensedValue(),
                   info.getScaleFactor(), info.getResolutionValue(), info.getResolutionScaleFactor(),
                   info.getOperatingMode(), info.getMaxNumberOfEventHandled(), info.getMinRefreshTimePeriod(),
                   node.isListening());
  iterator.end(structure);
}

void StructWrapper<Hevra::RemoteSensorNode>::deserialize(Message::ConstIterator& iterator,
                                                         Hevra::RemoteSensorNode& node) const {
  NodeRecord::read(iterator, node);
}

std::string StructWrapper<Hevra::RemoteSensorNode>::signature() const {
  return std::string(NodeRecord::OF_KIND<Hevra::RemoteSensorNode>);
}

}  // namespace Quarnix::Bus::Type
