// The bus form of a sensor node.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/RemoteSensorNode.h>

namespace Quarnix::Bus::Type {

/// A structure of twenty-one values, "(uyqyayayaytyuuyqqyyyyyqb)": the head, the sensor information from the measured
/// value's parameter type to the shortest refresh period, listening.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::RemoteSensorNode> {
 public:
  virtual ~StructWrapper();
  virtual void serialize(Message::Iterator& iterator, const Hevra::RemoteSensorNode& node) const;
  /// Reads into an existing node; the information also gets manufacturer and backbone address of the head, and bits 6
  /// to 13 of the node type as the sensor type. The iterator stays on the structure. Compare the message's signature
  /// first: where no structure stands, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::RemoteSensorNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
