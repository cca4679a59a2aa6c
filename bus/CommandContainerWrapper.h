// Writes a list of commands to the bus.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/homeautomation/Container.h>

namespace Quarnix::Bus::Type {

/// An array of command records, each in a structure: "a(utbuviiyisusuyy)". The commands come in the order of the
/// container's cursor.
///
/// Writing moves the cursor from where it stands to the end and leaves it there: if you write the container again
/// without `reset`, the array is empty. Two threads must not write one container at the same time.
template <>
class HEVRA_EXPORT Wrapper<const HomeAutomation::Container<Hevra::Command>> {
 public:
  virtual void serialize(Message::Iterator& iterator, const HomeAutomation::Container<Hevra::Command>& commands) const;
  /// Does nothing, because nothing can be put into a container. Wrapper<std::vector<Hevra::Command>> reads lists.
  virtual void deserialize(Message::ConstIterator& iterator,
                           const HomeAutomation::Container<Hevra::Command>& commands) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
