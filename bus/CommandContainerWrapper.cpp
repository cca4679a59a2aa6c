// Writes a list of commands.
#include <bus/CommandContainerWrapper.h>

#include <bus/CommandWrapper.h>
#include <bus/internal/RecordSignature.h>

namespace Quarnix::Bus::Type {

void Wrapper<const HomeAutomation::Container<Hevra::Command>>::serialize(
    Message::Iterator& iterator, const HomeAutomation::Container<Hevra::Command>& commands) const {
  const Wrapper<Hevra::Command> record;
  Message::Iterator array = iterator.begin(Message::ARRAY, RecordSignature::COMMAND_STRUCTURE.codes);
  while (commands.next()) {
    Message::Iterator structure = array.begin(Message::STRUCTURE);
    record.serialize(structure, commands.get());
    array.end(structure);
  }
  iterator.end(array);
}

void Wrapper<const HomeAutomation::Container<Hevra::Command>>::deserialize(
    Message::ConstIterator&, const HomeAutomation::Container<Hevra::Command>&) const {}

std::string Wrapper<const HomeAutomation::Container<Hevra::Command>>::signature() const {
  return std::string(RecordSignature::COMMANDS);
}

}  // namespace Quarnix::Bus::Type
