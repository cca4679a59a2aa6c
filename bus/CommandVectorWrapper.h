// Reads a list of commands, the inverse of Wrapper<const HomeAutomation::Container<Hevra::Command>>.
#pragma once

#include <string>
#include <vector>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Command.h>

namespace Quarnix::Bus::Type {

/// Only reads; what is to be sent goes through the container.
template <>
class HEVRA_EXPORT Wrapper<std::vector<Hevra::Command>> {
 public:
  /// Appends the commands of the array at the iterator, which stays on it. Compare the message's signature first: where
  /// no array of structures stands, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, std::vector<Hevra::Command>& commands) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
