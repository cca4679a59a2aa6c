// What a connection asks of its bus, and what it does with what arrives.
#include <platform/bus/connection/Client.h>

#include <algorithm>
#include <new>
#include <utility>

#include <platform/bus/Error.h>
#include <platform/bus/connection/StandardInterfaces.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Field;
using Message::Method::Call;
using Message::Method::Return;

namespace {

/// Of RequestName: its flags, and its answers.
constexpr std::uint32_t QUEUE = 0;
constexpr std::uint32_t DO_NOT_QUEUE = 4;
constexpr std::uint32_t PRIMARY_OWNER = 1;
constexpr std::uint32_t ALREADY_OWNER = 4;

Time::Monotonic defaultDeadline() { return Time::Clock::get().now() + Call::DEFAULT_TIMEOUT; }

/// An error reply as a text.
std::string describe(const Return& error) { return std::string(error.getErrorName()) + ": " + error.getErrorText(); }

}  // namespace

Client::~Client() = default;

Return Client::call(Call& call, std::string_view path, Host* host) {
  requireSameProcess();
  if (call.getTimeout() <= Time::Elapsed()) return Exchange::timeOut(call, host);
  const Time::Monotonic deadline = Time::Clock::get().now() + call.getTimeout();
  Lock lock(*this);
  if (calls_.isFull())
    return Return(LIMITS_EXCEEDED, "More than " + std::to_string(Calls::MAXIMUM) + " calls wait for a reply");
  return transact({call, &call, path, host}, deadline);
}

void Client::send(Message::Signal& signal) {
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  const Return end = transact({signal}, deadline);
  if (end.isException())
    reports_.warn("Signal " + std::string(signal.getMember()) + " of " + signal.getPath() +
                  " was not sent: " + end.getErrorText());
}

void Client::send(Return& reply) {
  // A bus refuses a reply that nobody waits for, and says so in its log.
  if (!reply.isExpected()) return;
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  const Return end = transact({reply, nullptr, {}, nullptr, false}, deadline);
  if (end.isException())
    reports_.warn("Reply to " + std::string(reply.getDestination()) + " was not sent: " + end.getErrorText());
}

Return Client::ask(Call call, const Time::Monotonic& deadline) { return transact({call, &call}, deadline); }

Host* Client::watch(const std::string& name) {
  requireSameProcess();
  Lock lock(*this);
  return &owners_.acquire(*this, name);
}

void Client::unwatch(Host* host) noexcept {
  if (!isSameProcess()) return;
  Lock lock(*this);
  owners_.release(*host);
}

/// Whether what the bus announces is read at once. Otherwise it lies unread until the next call.
bool Client::hears() const { return link_.isUp() && (isInProcess() || listener_.isRunning()); }

bool Client::isOwned(const Host& host) {
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (hears() && host.isKnown) return !host.owner.empty();
  return answerOf<bool>(ask(driverCall("NameHasOwner", host.name), deadline), "b").value_or(false);
}

bool Client::awaitOwner(const Host& host, const Time::Monotonic& deadline) {
  requireSameProcess();
  Lock lock(*this);
  Owners::Wait wait(owners_);
  // Behind the answer everything is known that was announced while nobody read.
  if (!hears() || !host.isKnown) static_cast<void>(ask(driverCall("NameHasOwner", host.name), deadline));
  startListener();
  settle();
  return wait.until(mutex_, host, link_, deadline);
}

std::uint64_t Client::generation(const Host& host) {
  requireSameProcess();
  MutexLock lock(mutex_);
  return host.generation;
}

std::uint64_t Client::generation(const Host& host, std::string_view owner) {
  requireSameProcess();
  MutexLock lock(mutex_);
  return host.owner == owner ? host.generation : 0;
}

void Client::subscribe(Receiver& receiver, Host& host, const std::string& path, bool wait) {
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (objects_.isSubscribed(receiver)) return;
  const bool wasUp = link_.isUp();
  const ServedObjects::Subscription subscription{&receiver, &host, path};
  const std::string rule = ServedObjects::matchRule(subscription);
  objects_.subscribe(subscription);
  try {
    startListener();
    if (!wait) {
      if (wasUp) post(driverCall("AddMatch", rule));
      if (isInProcess()) static_cast<void>(connect(deadline));
      return;
    }
    // On a link that comes up only now, `linkUp` has subscribed already. A second rule is asked for all the same,
    // because its answer tells that the first is in place, and taken back at once.
    const Return reply = ask(driverCall("AddMatch", rule), deadline);
    if (reply.isException())
      throw StartFailed("Cannot subscribe to " + path + " of " + host.name + ": " + describe(reply));
    if (!wasUp) post(driverCall("RemoveMatch", rule));
  } catch (...) {
    objects_.unsubscribe(receiver);
    throw;
  }
}

void Client::unsubscribe(Receiver& receiver) {
  if (!isSameProcess()) return;
  Lock lock(*this);
  const auto subscription = objects_.unsubscribe(receiver);
  if (!subscription) return;
  try {
    post(driverCall("RemoveMatch", ServedObjects::matchRule(*subscription)));
  } catch (const std::bad_alloc&) {
    // The rule stays with the bus; what it brings is ignored.
  }
}

void Client::serve(Receiver& receiver, const std::string& path, const char* description, const std::string& caller,
                   bool wait) {
  requireSameProcess();
  Message::require(Message::checkMessagePath(path), "object path of the server", path);
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (const ServedObjects::Served* served = objects_.find(path)) {
    if (served->receiver == &receiver) return;
    throw StartFailed("An object is already served at " + path + ": expected a path of its own");
  }
  ServedObjects::Served& served = objects_.serve(path, {&receiver, description});
  try {
    if (!caller.empty()) served.caller = &owners_.acquire(*this, caller);
    startListener();
    std::optional<Return> failure;
    if (!caller.empty() && wait) {
      // Behind its answer the owner is known, whose calls are not to be refused.
      Return reply = ask(driverCall("NameHasOwner", caller), deadline);
      if (reply.isException()) failure = std::move(reply);
    } else if (wait || isInProcess()) {
      failure = connect(deadline);
    }
    if (failure && wait) throw StartFailed("Cannot serve " + path + ": " + describe(*failure));
    areCallsExpected_ = true;
  } catch (...) {
    // The mutex was free meanwhile: another `stop` may have withdrawn it.
    if (const auto* left = objects_.find(path); left && left->receiver == &receiver) forgetServed(path);
    throw;
  }
}

void Client::withdraw(Receiver& receiver, const std::string& path) {
  if (!isSameProcess()) return;
  Lock lock(*this);
  if (const auto* served = objects_.find(path); served && served->receiver == &receiver) forgetServed(path);
}

void Client::forgetServed(const std::string& path) noexcept {
  if (Host* const caller = objects_.find(path)->caller) owners_.release(*caller);
  objects_.withdraw(path);
}

void Client::expectCalls() {
  if (!isSameProcess()) return;
  Lock lock(*this);
  if (link_.isClosed()) return;
  areCallsExpected_ = true;
  try {
    startListener();
  } catch (const StartFailed& error) {
    reports_.warn(std::string("Calls of peers may stay unanswered: ") + error.what());
  }
}

void Client::observe(ObserverTask& observer, const std::vector<std::string>& services) {
  requireSameProcess();
  for (const std::string& name : services)
    if (name.starts_with(':') || name == DRIVER_NAME)
      throw InvalidArgument("Name of a service to observe: '" + name + "' given, expected one that a service can own");
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (observers_.contains(observer)) return;
  observers_.add(observer, services.size());
  try {
    for (const std::string& name : services) observers_.addService(observer, owners_.acquire(*this, name));
    startListener();
  } catch (...) {
    observers_.remove(observer, owners_);
    throw;
  }
  if (isInProcess()) static_cast<void>(connect(deadline));
  observer.stateChanged();
}

void Client::unobserve(ObserverTask& observer) {
  if (!isSameProcess()) return;
  Lock lock(*this);
  if (observers_.contains(observer)) observers_.remove(observer, owners_);
}

Change Client::nextChange(const ObserverTask& observer) {
  if (!isSameProcess()) return {};
  MutexLock lock(mutex_);
  return observers_.next(observer, link_);
}

void Client::becomeMonitor(Call& question) {
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (const std::optional<Return> failure = connect(deadline)) throw Return(*failure);
  isMonitor_ = true;  // the bus may show messages before it answers
  const Return reply = transact({question, &question}, deadline);
  if (reply.isException()) {
    isMonitor_ = false;
    throw reply;
  }
  startListener();
}

void Client::requestName(const std::string& name) {
  requireSameProcess();
  Message::require(Message::checkBusName(name), "bus name", name);
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  const Return reply = ask(driverCall("RequestName", name, DO_NOT_QUEUE), deadline);
  if (reply.isException()) throw StartFailed("Cannot own the bus name " + name + ": " + describe(reply));
  const std::uint32_t result = answerOf<std::uint32_t>(reply, "u").value_or(0);
  if (result != PRIMARY_OWNER && result != ALREADY_OWNER)
    throw StartFailed("Cannot own the bus name " + name + ": another connection has it");
  if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
  // The owner of a name is called, and has to answer even when it serves no object.
  areCallsExpected_ = true;
  startListener();
}

void Client::releaseName(const std::string& name) {
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  names_.erase(std::remove(names_.begin(), names_.end(), name), names_.end());
  if (link_.isUp()) static_cast<void>(ask(driverCall("ReleaseName", name), deadline));
}

std::string Client::uniqueName() {
  requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (const std::optional<Return> failure = connect(deadline)) throw Return(*failure);
  return link_.uniqueName();
}

void Client::linkUp() {
  observers_.notify();
  owners_.linkUp();
  for (const ServedObjects::Subscription& subscription : objects_.subscriptions())
    post(driverCall("AddMatch", ServedObjects::matchRule(subscription)));
  for (const std::string& name : names_) askForNameAgain(name);
}

/// Where another connection has taken the name meanwhile, the bus queues this one, and gives the name back after that
/// one.
void Client::askForNameAgain(const std::string& name) {
  post(driverCall("RequestName", name, QUEUE), [this, name](const Return& reply) HEVRA_NO_THREAD_SAFETY_ANALYSIS {
    if (reply.isException()) return reports_.warn("The bus name " + name + " was not given back: " + describe(reply));
    const std::uint32_t result = answerOf<std::uint32_t>(reply, "u").value_or(0);
    if (result != PRIMARY_OWNER && result != ALREADY_OWNER)
      reports_.warn("The bus name " + name + " was taken by another connection: it comes back after that one");
  });
}

void Client::linkLost() noexcept {
  isMonitor_ = false;
  owners_.linkLost();
  Exchange::linkLost();
  observers_.notify();
}

void Client::signalArrived(const Received& message) {
  if (message.text(Field::SENDER) == DRIVER_NAME && message.text(Field::MEMBER) == "NameOwnerChanged" &&
      message.text(Field::INTERFACE) == DRIVER_INTERFACE && message.text(Field::SIGNATURE) == "sss") {
    const Message::Signal signal(message.frame, message.header);
    std::string name, before, now;
    signal.begin().read(name, before, now);
    owners_.changed(name, before, now);
  }
  objects_.deliverSignal(message);
}

void Client::callArrived(Received message) {
  if (isMonitor_) return;
  const Call call(message.frame, message.header);
  const bool isDiscarded = message.discarded > 0;
  std::optional<Return> reply;
  if (isDiscarded) reply = Return(call, LIMITS_EXCEEDED, describeDiscarded(message));
  if (!reply) reply = answerStandard(call, objects_);
  if (!reply) reply = objects_.deliverCall(std::move(message));
  if (reply && call.isReplyExpected()) {
    answer(std::move(*reply));
  } else if (isDiscarded) {
    reports_.countDropped();
  }
}

bool Client::isListenerNeeded() const {
  return !link_.isClosed() &&
         (areCallsExpected_ || isMonitor_ || owners_.isAwaited() || !objects_.isEmpty() || !observers_.isEmpty());
}

}  // namespace Quarnix::Bus::Internal
