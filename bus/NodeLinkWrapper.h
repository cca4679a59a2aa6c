// Writes a link between nodes to the bus and reads it back.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/NodeLink.h>

namespace Quarnix::Bus::Type {

/// A structure of four values, "(uusi)": node address, stack address, link identifier, link type.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::NodeLink> {
 public:
  virtual ~StructWrapper();
  /// Raises InvalidArgument for a link identifier that is not UTF-8; then it has appended nothing.
  virtual void serialize(Message::Iterator& iterator, const Hevra::NodeLink& link) const;
  /// Reads into an existing link. The iterator stays on the structure.
  /// Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::NodeLink& link) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
