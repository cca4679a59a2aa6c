// The bus form of the head that all node records have.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Node.h>

namespace Quarnix::Bus::Type {

/// Eleven values without a structure around them, "uyqyayayaytyuu": address, class, node type, manufacturer, the three
/// identities of 14, 16 and 16 bytes, stamp, state, extra, backbone address. Of the class and the state only the low
/// byte is written.
template <>
class HEVRA_EXPORT Wrapper<Hevra::Node> {
 public:
  virtual void serialize(Message::Iterator& iterator, const Hevra::Node& node) const;
  /// Reads into an existing node and leaves the iterator on the last of the eleven. Surplus bytes of an identity are
  /// skipped; where they are too few, the rest of it stays as it was. Compare the message's signature first: where an
  /// identity is no array, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::Node& node) const;
  virtual std::string signature() const;
  virtual ~Wrapper();
};

}  // namespace Quarnix::Bus::Type
