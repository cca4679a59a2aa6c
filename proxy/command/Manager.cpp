// Makes, starts, stops and destroys the command manager, cancels commands, and takes the signal "exception".
#include <platform/bus/Error.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/UncheckedCall.h>
#include <platform/core/internal/Fork.h>
#include <platform/core/log/Logger.h>
#include <proxy/command/internal/Outcomes.h>
#include <proxy/command/internal/Presence.h>

#include <charconv>

#include <unistd.h>

namespace Quarnix::Hevra::Proxy::Command {

// The event's task also runs while the manager is stopped. The destructor of a derived class may then be changing the
// table of virtual operations, so the task calls `receive` without it.
Manager::Manager(bool zuv, const std::string& applicationName)
    : Event([](Event& self, unsigned long long count) { static_cast<Manager&>(self).Manager::receive(count); }),
      originator(this) {
  Bus::Object::Proxy::setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
  interfaceName = zuv ? "com.quarnix.Application.Zuv.Manager.Command" : "com.quarnix.Application.Hevra.Manager.Command";
  // Both variants serve it at the same path.
  setPath("/com/quarnix/Application/HevraZuv/Manager/Command");
  setHost(zuv ? "com.quarnix.Application.Zuv" : "com.quarnix.Application.Hevra");
  originator.setPath("/com/quarnix/Application/" + applicationName + (zuv ? "/Zuv/Originator" : "/Hevra/Originator"));
}

Manager::~Manager() {
  // Signals and reports restart the timers, so they end first. An expiry sends the event, so the timers go before the
  // event. Destroying a timer waits for its expiry, which needs the mutex, so the mutex is free then.
  Bus::Object::Proxy::retire();
  originator.retire();
  presence_.reset();
  std::map<std::string, Timer> forgotten;
  std::multimap<std::string, Timer> replaced;
  Watches abandoned;
  if (!isSameProcess()) {
    // A thread that is not there may have been changing these, so they are never destroyed.
    new auto(std::move(timers));
    new auto(std::move(replaced_));
  } else {
    MutexLock lock(mutex_);
    forgotten.swap(timers);
    replaced.swap(replaced_);
    // An expiry that is about to begin finds its entry FINISHED, and so links none that is about to go.
    expiredKeys = {};
    const auto finish = [&](auto& entries) {
      for (auto& [key, timer] : entries) {
        timer.life = Life::FINISHED;
        abandoned.take(timer.watches);
      }
    };
    finish(forgotten);
    finish(replaced);
  }
  forgotten.clear();
  replaced.clear();
  Event::retire();
  tell(abandoned, Outcomes::get().abandoned);
}

void Manager::setDispatcher(Dispatcher& dispatcher) {
  Bus::Object::Proxy::setDispatcher(dispatcher);
  originator.setDispatcher(dispatcher);
  Event::setDispatcher(dispatcher);
}

void Manager::start(bool wait) {
  requireSameProcess();
  // Only once, because reports may be using the connection if the manager is started again.
  std::call_once(connectionShared_, [this] { originator.setConnection(getConnection()); });
  Bus::Object::Proxy::start(wait);
  if (Presence* const made = presence()) made->start();
}

void Manager::stop() {
  if (!isSameProcess()) return;
  Bus::Object::Proxy::stop();
  if (Presence* const made = presence()) made->stop();
}

void Manager::attach(bool wait) {
  Bus::Object::Proxy::attach(wait);
  try {
    originator.start(wait);
  } catch (...) {
    Bus::Object::Proxy::detach();
    throw;
  }
  hearing_ = Hearing::REPORTS;
}

void Manager::detach() {
  hearing_ = Hearing::NOTHING;
  originator.stop();
  Bus::Object::Proxy::detach();
}

std::string Manager::keyOf(const Group& group, const Hevra::Command& command) {
  char digits[10];
  const auto end = std::to_chars(digits, digits + sizeof digits, command.getId()).ptr;
  std::string key;
  key.reserve(group.getId().size() + 1 + sizeof digits);
  key += group.getId();
  key += '_';
  return key.append(digits, end);
}

/// Comes before any lock, because in a forked child a thread that is not there may hold the mutex.
void Manager::requireSameProcess() const {
  unsigned first = NEVER;
  usedIn_.compare_exchange_strong(first, forkCount());
  if (!isSameProcess())
    throw Bus::UnusableMessage("The command manager of " + getHost() +
                               " was used before this process was forked: expected another");
}

bool Manager::isSameProcess() const noexcept { return usedIn_ == NEVER || usedIn_ == forkCount(); }

Manager::Call Manager::callOf(const char* member) const {
  Call call = Bus::Message::UncheckedCall::make(interfaceName, member);
  call.setTimeout(timeoutOr(Call::DEFAULT_TIMEOUT));
  return call;
}

void Manager::requireSuccess(const Bus::Message::SendReturn& reply) {
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
}

void Manager::finish(Call call) const { requireSuccess(send(call)); }

Bus::PendingCall Manager::finishAsync(const std::function<Call()>& encode, Bus::Handler<void> handler,
                                      const Time::Elapsed& timeout) {
  requireSameProcess();
  return Bus::Object::Proxy::request<void>(encode, &requireSuccess, std::move(handler), timeout);
}

// The three operations share one member. The service tells them apart by their signatures.

void Manager::cancel() {
  requireSameProcess();
  finish(callOf("cancel"));
}

Bus::PendingCall Manager::cancelAsync(Bus::Handler<void> handler, const Time::Elapsed& timeout) {
  return finishAsync([&] { return callOf("cancel"); }, std::move(handler), timeout);
}

Manager::Call Manager::cancelCall(const std::string& key) const {
  Bus::Message::require(Bus::Message::checkText(key), "key to cancel", key);
  Call call = callOf("cancel");
  call.begin().append(key);
  return call;
}

void Manager::cancel(const std::string& key) {
  requireSameProcess();
  finish(cancelCall(key));
}

Bus::PendingCall Manager::cancelAsync(const std::string& key, Bus::Handler<void> handler,
                                      const Time::Elapsed& timeout) {
  return finishAsync([&] { return cancelCall(key); }, std::move(handler), timeout);
}

Manager::Call Manager::cancelCall(const HomeAutomation::Command::Priority& priority) const {
  Call call = callOf("cancel");
  call.begin().append(priority.getValue());
  return call;
}

void Manager::cancel(const HomeAutomation::Command::Priority& priority) {
  requireSameProcess();
  finish(cancelCall(priority));
}

Bus::PendingCall Manager::cancelAsync(const HomeAutomation::Command::Priority& priority, Bus::Handler<void> handler,
                                      const Time::Elapsed& timeout) {
  return finishAsync([&] { return cancelCall(priority); }, std::move(handler), timeout);
}

void Manager::signal(const Bus::Message::Signal& signal) {
  if (interfaceName != signal.getInterface()) return;
  if (std::string_view(signal.getMember()) != "exception") {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager exception unknown member: %s", signal.getMember());
    return;
  }
  if (signal.getSignature() != Bus::Message::SIGNATURE_OF<std::string>) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> CommandManager exception bad signature: %s",
                              signal.getSignature());
    return;
  }
  std::string message;
  signal.begin().get(message);
  exception(std::move(message));
}

void Manager::exception(std::string) {}

Manager::Timer::Timer(Manager* owner, Shared::Pointer<Interface::Command::Originator> client, std::string entryKey,
                      unsigned int seconds)
    : Quarnix::Timer::Monotonic(Time::Monotonic(Time::Elapsed(seconds, 0)), true),
      manager(owner),
      key(std::move(entryKey)),
      originator(std::move(client)) {
  shareDispatcher(static_cast<const Event&>(*owner));
  setStackSize(static_cast<unsigned int>(::getpagesize()) * 4);
}

Manager::Timer::~Timer() { retire(); }

void Manager::Timer::expired(const Time::Monotonic&) { manager->timeout(*this); }

}  // namespace Quarnix::Hevra::Proxy::Command
