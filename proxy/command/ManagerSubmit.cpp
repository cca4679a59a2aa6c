// Sends commands, and follows what becomes of the call and of the service that has it.
#include <bus/CommandContainerWrapper.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/log/Logger.h>
#include <proxy/command/internal/Outcomes.h>
#include <proxy/command/internal/Presence.h>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

constexpr unsigned int FIRST_REPORT_SECONDS = 60;

}  // namespace

void Manager::add(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                  const HomeAutomation::Container<Hevra::Command>& commands) {
  const Bus::Message::SendReturn reply = transmit(client, group, commands, nullptr);
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
}

void Manager::submit(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                     const HomeAutomation::Container<Hevra::Command>& commands,
                     const Shared::Pointer<OutcomeObserver>& observer) {
  requireSameProcess();
  commands.reset();
  if (!observer) return add(client, group, commands);
  observePresence();
  const std::uint64_t before = getGeneration();
  const auto submission = std::make_shared<Submission>(Submission{observer, group});
  try {
    const Bus::Message::SendReturn reply = transmit(client, group, commands, submission);
    if (!reply->isException()) return accept(*submission, getGenerationOf(reply->getSender()));
    throw Bus::Message::Method::Return(*reply);
  } catch (const Bus::Message::Method::Return& error) {
    const std::string name = error.getErrorName();
    if (name == "org.freedesktop.DBus.Error.NoReply") {
      accept(*submission, before);  // the service may have it
    } else {
      const bool lost =
          name == "org.freedesktop.DBus.Error.Disconnected" || name == "org.freedesktop.DBus.Error.NameHasNoOwner";
      giveUp(*submission,
             {lost ? Outcome::Kind::SERVICE_LOST : Outcome::Kind::REFUSED, {}, name + ": " + error.getErrorText()});
    }
    throw;
  } catch (const std::exception& error) {
    giveUp(*submission, {Outcome::Kind::REFUSED, {}, error.what()});
    throw;
  } catch (...) {
    giveUp(*submission, {Outcome::Kind::REFUSED, {}, "the commands' container raised an error"});
    throw;
  }
}

Bus::Message::SendReturn Manager::transmit(const Shared::Pointer<Interface::Command::Originator>& client,
                                           const Group& group,
                                           const HomeAutomation::Container<Hevra::Command>& commands,
                                           const std::shared_ptr<Submission>& submission) {
  requireSameProcess();
  Hearing nothing = Hearing::NOTHING;
  if ((client || submission) && hearing_.compare_exchange_strong(nothing, Hearing::NOTHING_AS_LOGGED)) {
    Log::printQuietly(
        Log::Priority::WARNING,
        "HV/ZUV proxy library> CommandManager is not started: commands are sent, but no progress is heard");
  }
  // This takes the memory that the end of a command needs, before the command waits.
  Event::reserve();
  Outcomes::get();

  Bus::Message::Method::Call call = callOf("add");
  Bus::Message::Iterator arguments = call.begin();

  // A report may come before `send` returns, so every command is known before the call leaves.
  while (commands.next()) {
    const Hevra::Command& command = commands.get();
    arm(client, keyOf(group, command), submission ? Watches(submission, command.getId()) : Watches());
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

  // Even if the manager is not started, the service now knows where to report.
  expectCalls();
  return send(call);
}

void Manager::arm(const Shared::Pointer<Interface::Command::Originator>& client, const std::string& key,
                  Watches watches) {
  // The entry is made before the mutex is locked. `unwanted` is declared before the lock, so that an entry that is not
  // needed is destroyed after the mutex is released.
  std::map<std::string, Timer> made;
  made.try_emplace(key, this, client, key, FIRST_REPORT_SECONDS);
  Entry unwanted;
  MutexLock lock(mutex_);
  const auto present = timers.find(key);
  if (present != timers.end() && present->second.life == Life::EXPIRED) replaced_.insert(timers.extract(present));
  auto inserted = timers.insert(made.extract(made.begin()));
  unwanted = std::move(inserted.node);
  Timer& timer = inserted.position->second;
  try {
    timer.start();
  } catch (...) {
    // An entry that cannot expire would stay for ever. Only a new entry can fail to start.
    unwanted = timers.extract(inserted.position);
    throw;
  }
  timer.watches.take(watches);
}

Manager::Presence* Manager::presence() {
  MutexLock lock(mutex_);
  return presence_.get();
}

void Manager::observePresence() {
  Presence* present = presence();
  if (!present) {
    auto made = std::make_unique<Presence>(*this);
    MutexLock lock(mutex_);
    if (!presence_) presence_.swap(made);
    present = presence_.get();
  }
  present->start();
}

/// Notes that the service of that generation has the commands. The generation may be over by now.
void Manager::accept(Submission& submission, std::uint64_t generation) {
  {
    MutexLock lock(mutex_);
    submission.generation = generation;
  }
  if (generation == 0) return giveUp(submission, Outcomes::get().serviceLost);
  if (generation < getGeneration()) serviceChanged();
}

void Manager::giveUp(const Submission& submission, const Outcome& outcome) {
  Watches given;
  {
    MutexLock lock(mutex_);
    for (auto& [key, timer] : timers)
      given.take(timer.watches, [&](const Submission& one) { return &one == &submission; });
  }
  tell(given, outcome);
}

/// Ends the commands of earlier generations for their observers.
void Manager::serviceChanged() {
  const std::uint64_t now = getGeneration();
  Watches lost;
  {
    MutexLock lock(mutex_);
    for (auto& [key, timer] : timers)
      lost.take(timer.watches, [=](const Submission& one) { return one.generation != 0 && one.generation < now; });
  }
  tell(lost, Outcomes::get().serviceLost);
}

}  // namespace Quarnix::Hevra::Proxy::Command
