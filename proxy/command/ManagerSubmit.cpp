// Submitting commands.
#include <bus/CommandContainerWrapper.h>
#include <platform/bus/message/Names.h>
#include <proxy/command/Manager.h>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

constexpr unsigned int FIRST_REPORT_SECONDS = 60;

}  // namespace

void Manager::add(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                  const HomeAutomation::Container<Hevra::Command>& commands) {
  const Bus::Message::SendReturn reply = transmit(client, group, commands, nullptr);
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
}

Bus::Message::SendReturn Manager::transmit(const Shared::Pointer<Interface::Command::Originator>& client,
                                           const Group& group,
                                           const HomeAutomation::Container<Hevra::Command>& commands,
                                           const std::shared_ptr<Submission>& submission) {
  Bus::Message::Method::Call call = callOf("add");
  Bus::Message::Iterator arguments = call.begin();

  // A report may come before `send` returns, so that every command is known before the call leaves.
  while (commands.next()) {
    const Hevra::Command& command = commands.get();
    arm(client, keyOf(group, command), submission ? Watches{{submission, command.getId()}} : Watches());
  }
  commands.reset();

  Bus::Message::Iterator server = arguments.begin(Bus::Message::STRUCTURE);
  Bus::Type::Wrapper<Bus::Object::Server>().serialize(server, originator);
  arguments.end(server);
  Bus::Message::Iterator identifier = arguments.begin(Bus::Message::STRUCTURE);
  Bus::Message::require(Bus::Message::checkText(group.getId()), "group identifier", group.getId());
  identifier.append(group.getId());
  arguments.end(identifier);
  Bus::Type::Wrapper<const HomeAutomation::Container<Hevra::Command>>().serialize(arguments, commands);

  return send(call);
}

void Manager::arm(const Shared::Pointer<Interface::Command::Originator>& client, const std::string& key,
                  Watches watches) {
  // The entry is made before the mutex is taken, and what is not wanted of it goes after the mutex is released:
  // `unwanted` is declared first.
  std::map<std::string, Timer> made;
  made.try_emplace(key, this, client, key, FIRST_REPORT_SECONDS);
  std::map<std::string, Timer>::node_type unwanted;
  MutexLock lock(mutex_);
  auto inserted = timers.insert(made.extract(made.begin()));
  unwanted = std::move(inserted.node);
  try {
    inserted.position->second.start();
  } catch (...) {
    // An entry that cannot expire would stay for ever.
    if (inserted.inserted) unwanted = timers.extract(inserted.position);
    throw;
  }
  inserted.position->second.watches.splice_after(inserted.position->second.watches.before_begin(), watches);
}

}  // namespace Quarnix::Hevra::Proxy::Command
