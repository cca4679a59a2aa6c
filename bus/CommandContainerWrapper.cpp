// Writes the list of commands.
#include <bus/CommandContainerWrapper.h>

#include <bus/CommandWrapper.h>

namespace Quarnix::Bus::Type {

namespace {

const std::string& elementSignature() {
  static const std::string built = "(" + Wrapper<Hevra::Command>().signature() + ")";
  return built;
}

}  // namespace

void Wrapper<const HomeAutomation::Container<Hevra::Command>>::serialize(
    Message::Iterator& iterator, const HomeAutomation::Container<Hevra::Command>& commands) const {
  const Wrapper<Hevra::Command> record;
  Message::Iterator array = iterator.begin(Message::ARRAY, elementSignature().c_str());
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
  static const std::string built = "a" + elementSignature();
  return built;
}

}  // namespace Quarnix::Bus::Type
