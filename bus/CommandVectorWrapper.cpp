// Reads a list of commands.
#include <bus/CommandVectorWrapper.h>

#include <bus/CommandWrapper.h>
#include <bus/internal/RecordSignature.h>

namespace Quarnix::Bus::Type {

void Wrapper<std::vector<Hevra::Command>>::deserialize(Message::ConstIterator& iterator,
                                                       std::vector<Hevra::Command>& commands) const {
  if (iterator.type() != Message::ARRAY) throw;
  const Wrapper<Hevra::Command> record;
  Message::ConstIterator element = iterator.begin();
  while (const int type = element.type()) {
    if (type != Message::STRUCTURE) throw;
    Message::ConstIterator field = element.begin();
    Hevra::Command command;
    record.deserialize(field, command);
    commands.push_back(std::move(command));
    element.leave(field);
  }
}

std::string Wrapper<std::vector<Hevra::Command>>::signature() const { return std::string(RecordSignature::COMMANDS); }

}  // namespace Quarnix::Bus::Type
