// Reads a list of commands that Wrapper<const HomeAutomation::Container<Hevra::Command>> has written.
#pragma once

#include <string>
#include <vector>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Command.h>

namespace Quarnix::Bus::Type {

/// It reads only; a container is what you send.
template <>
class HEVRA_EXPORT Wrapper<std::vector<Hevra::Command>> {
 public:
  /// Appends the commands of the array at the iterator to `commands`. The iterator stays on the array.
  /// Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, std::vector<Hevra::Command>& commands) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
