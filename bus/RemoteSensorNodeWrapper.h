// Writes a sensor node to the bus and reads it back.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/RemoteSensorNode.h>

namespace Quarnix::Bus::Type {

/// A structure of twenty-one values, "(uyqyayayaytyuuyqqyyyyyqb)": the head (see Wrapper<Node>), the sensor information
/// from the measured value's parameter type to the shortest refresh period, listening.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::RemoteSensorNode> {
 public:
  virtual ~StructWrapper();
  virtual void serialize(Message::Iterator& iterator, const Hevra::RemoteSensorNode& node) const;
  /// Reads into an existing node. The sensor information also gets manufacturer and backbone address from the head, and
  /// bits 6 to 13 of the node type as its sensor type. The iterator stays on the structure.
  /// Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::RemoteSensorNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
