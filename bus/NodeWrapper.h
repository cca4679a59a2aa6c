// Writes and reads the values with which every node record begins.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Node.h>

namespace Quarnix::Bus::Type {

/// The head of a node record: eleven values without a structure around them, "uyqyayayaytyuu". They are address, class,
/// node type, manufacturer, the three identities of 14, 16 and 16 bytes, stamp, state, extra and backbone address. Of
/// the class and the state only the low byte travels.
template <>
class HEVRA_EXPORT Wrapper<Hevra::Node> {
 public:
  virtual void serialize(Message::Iterator& iterator, const Hevra::Node& node) const;
  /// Reads into an existing node. The iterator stays on the last of the eleven values. It skips surplus bytes of an
  /// identity; if there are too few, the rest of the identity stays as it is.
  /// Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::Node& node) const;
  virtual std::string signature() const;
  virtual ~Wrapper();
};

}  // namespace Quarnix::Bus::Type
