// Writes an actuator node to the bus and reads it back.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/RemoteActuatorNode.h>

namespace Quarnix::Bus::Type {

/// A structure of thirteen values, "(uyqyayayaytyuuyq)": the head (see Wrapper<Node>), multi-information byte, time
/// stamp.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::RemoteActuatorNode> {
 public:
  virtual ~StructWrapper();
  virtual void serialize(Message::Iterator& iterator, const Hevra::RemoteActuatorNode& node) const;
  /// Reads into an existing node. The actuator information also gets node type, manufacturer and backbone address from
  /// the head. The iterator stays on the structure. Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::RemoteActuatorNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
