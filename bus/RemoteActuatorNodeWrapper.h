// The bus form of an actuator node.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/RemoteActuatorNode.h>

namespace Quarnix::Bus::Type {

/// A structure of thirteen values, "(uyqyayayaytyuuyq)": the head, multi-information byte, time stamp.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::RemoteActuatorNode> {
 public:
  virtual ~StructWrapper();
  virtual void serialize(Message::Iterator& iterator, const Hevra::RemoteActuatorNode& node) const;
  /// Reads into an existing node; the information also gets what it repeats of the head. The iterator stays on the
  /// structure. Compare the message's signature first: where no structure stands, the exception being handled is raised
  /// again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::RemoteActuatorNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
