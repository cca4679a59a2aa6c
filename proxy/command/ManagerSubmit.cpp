// Sends commands, and follows what becomes of the call and of the service that has it.
#include <bus/CommandContainerWrapper.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/log/Logger.h>
#include <proxy/command/internal/Outcomes.h>
#include <proxy/command/internal/Presence.h>

namespace Quarnix::Hevra::Proxy::Command {

namespace {

constexpr unsigned int FIRST_REPORT_SECONDS = 60;

/// Sends the call and waits for what comes of it.
Bus::Reply replyTo(const Bus::Object::Proxy& proxy, Bus::Message::Method::Call& call) {
  try {
    return Bus::Reply(proxy.send(call));
  } catch (const std::exception&) {
    return Bus::Reply(std::current_exception());
  }
}

}  // namespace

void Manager::add(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                  const HomeAutomation::Container<Hevra::Command>& commands) {
  requireSameProcess();
  finish(addCall(client, group, commands, nullptr));
}

Bus::PendingCall Manager::addAsync(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                   const HomeAutomation::Container<Hevra::Command>& commands,
                                   Bus::Handler<void> handler, const Time::Elapsed& timeout) {
  return finishAsync([&] { return addCall(client, group, commands, nullptr); }, std::move(handler), timeout);
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
  Call call = submitCall(client, group, commands, submission);
  const Bus::Reply reply = replyTo(*this, call);
  conclude(*submission, before, reply);
  requireSuccess(reply.get());
}

Bus::PendingCall Manager::submitAsync(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                      const HomeAutomation::Container<Hevra::Command>& commands,
                                      const Shared::Pointer<OutcomeObserver>& observer, Bus::Handler<void> handler,
                                      const Time::Elapsed& timeout) {
  requireSameProcess();
  commands.reset();
  if (!observer) return addAsync(client, group, commands, std::move(handler), timeout);
  const auto submission = std::make_shared<Submission>(Submission{observer, group});
  const auto before = std::make_shared<std::uint64_t>(0);  // the generation, once the call is made
  const auto encode = [&] {
    observePresence();
    const std::uint64_t now = getGeneration();
    Call call = submitCall(client, group, commands, submission);
    *before = now;
    return call;
  };
  const auto read = Bus::reading<void>(&requireSuccess, std::move(handler));
  return begin(
      encode,
      [this, submission, before, read](const Bus::Reply& reply) {
        if (*before != 0) conclude(*submission, *before, reply);
        read(reply);
      },
      timeout);
}

/// Tells the observer at once if the service does not get the commands.
Manager::Call Manager::submitCall(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                                  const HomeAutomation::Container<Hevra::Command>& commands,
                                  const std::shared_ptr<Submission>& submission) {
  try {
    return addCall(client, group, commands, submission);
  } catch (const std::exception& error) {
    giveUp(*submission, {Outcome::Kind::REFUSED, {}, error.what()});
    throw;
  } catch (...) {
    giveUp(*submission, {Outcome::Kind::REFUSED, {}, "the commands' container raised an error"});
    throw;
  }
}

/// Notes what the answer to the call means for the commands. `before`: the generation when the call was made.
void Manager::conclude(Submission& submission, std::uint64_t before, const Bus::Reply& reply) {
  try {
    const Bus::Message::SendReturn& answer = reply.get();
    if (!answer->isException()) return accept(submission, getGenerationOf(answer->getSender()));
    const std::string name = answer->getErrorName();
    if (name == "org.freedesktop.DBus.Error.NoReply") return accept(submission, before);  // the service may have it
    const bool lost =
        name == "org.freedesktop.DBus.Error.Disconnected" || name == "org.freedesktop.DBus.Error.NameHasNoOwner";
    giveUp(submission,
           {lost ? Outcome::Kind::SERVICE_LOST : Outcome::Kind::REFUSED, {}, name + ": " + answer->getErrorText()});
  } catch (const std::exception& error) {
    giveUp(submission, {Outcome::Kind::REFUSED, {}, error.what()});
  }
}

Manager::Call Manager::addCall(const Shared::Pointer<Interface::Command::Originator>& client, const Group& group,
                               const HomeAutomation::Container<Hevra::Command>& commands,
                               const std::shared_ptr<Submission>& submission) {
  Hearing nothing = Hearing::NOTHING;
  if ((client || submission) && hearing_.compare_exchange_strong(nothing, Hearing::NOTHING_AS_LOGGED)) {
    Log::printQuietly(
        Log::Priority::WARNING,
        "HV/ZUV proxy library> CommandManager is not started: commands are sent, but no progress is heard");
  }
  // This takes the memory that the end of a command needs, before the command waits.
  Event::reserve();
  Outcomes::get();

  Call call = callOf("add");
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
  return call;
}

void Manager::arm(const Shared::Pointer<Interface::Command::Originator>& client, const std::string& key,
                  Watches watches) {
  // The entry is made before the mutex is locked. `unwanted` is declared before the lock, so that an entry that is not
  // needed is destroyed after the mutex is released.
  std::map<std::string, Timer> made;
  made.try_emplace(key, this, client, key, FIRST_REPORT_SECONDS);
  Entry unwanted;
  MutexLock lock(mutex_);
  auto inserted = timers.insert(made.extract(made.begin()));
  if (!inserted.inserted && inserted.position->second.life == Life::EXPIRED) {
    replaced_.insert(timers.extract(inserted.position));
    inserted = timers.insert(std::move(inserted.node));
  }
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
