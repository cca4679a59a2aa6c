// The bus form of a controller node.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/RemoteControllerNode.h>

namespace Quarnix::Bus::Type {

/// A structure of the head's eleven values, "(uyqyayayaytyuu)".
template <>
class HEVRA_EXPORT StructWrapper<Hevra::RemoteControllerNode> {
 public:
  virtual ~StructWrapper();
  virtual void serialize(Message::Iterator& iterator, const Hevra::RemoteControllerNode& node) const;
  /// Reads into an existing node; the iterator stays on the structure. Compare the message's signature first: where no
  /// structure stands, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::RemoteControllerNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
