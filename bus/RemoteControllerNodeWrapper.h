// Writes a controller node to the bus and reads it back.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/RemoteControllerNode.h>

namespace Quarnix::Bus::Type {

/// A structure of the eleven values of the head (see Wrapper<Node>), "(uyqyayayaytyuu)".
template <>
class HEVRA_EXPORT StructWrapper<Hevra::RemoteControllerNode> {
 public:
  virtual ~StructWrapper();
  virtual void serialize(Message::Iterator& iterator, const Hevra::RemoteControllerNode& node) const;
  /// Reads into an existing node. The iterator stays on the structure.
  /// Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::RemoteControllerNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
