// The bus form of a list of commands that is to be sent.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/homeautomation/Container.h>

namespace Quarnix::Bus::Type {

/// An array of structures of one command record each, "a(utbuviiyisusuyy)", in the order of the container's cursor.
///
/// Writing moves the cursor from where it stands to the end and does not rewind it: a second time without `reset` it
/// writes an empty array. One container is not to be written by two threads at once.
template <>
class HEVRA_EXPORT Wrapper<const HomeAutomation::Container<Hevra::Command>> {
 public:
  virtual void serialize(Message::Iterator& iterator, const HomeAutomation::Container<Hevra::Command>& commands) const;
  /// Does nothing: such a container cannot be filled. Lists are read with Wrapper<std::vector<Hevra::Command>>.
  virtual void deserialize(Message::ConstIterator& iterator,
                           const HomeAutomation::Container<Hevra::Command>& commands) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
