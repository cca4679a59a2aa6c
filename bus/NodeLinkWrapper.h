// The bus form of a link between nodes.
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
  /// Raises InvalidArgument for a link identifier that is not UTF-8, with nothing appended.
  virtual void serialize(Message::Iterator& iterator, const Hevra::NodeLink& link) const;
  /// Reads into an existing link; the iterator stays on the structure. Compare the message's signature first: where no
  /// structure stands, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::NodeLink& link) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
