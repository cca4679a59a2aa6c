// Asks the bus for what the application wants, and hands on what arrives.
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

Time::Monotonic defaultDeadline() { return Time::Clock::get().now() + Call::DEFAULT_TIMEOUT; }

/// The arguments of NameOwnerChanged: the name, the owner before, the owner now.
constexpr auto OWNER_CHANGE = Message::SIGNATURE_OF<std::string, std::string, std::string>;

}  // namespace

Client::~Client() = default;

Message::SendReturn Client::call(Call& call, std::string_view path, Host* host) {
  process_.requireSameProcess();
  if (call.getTimeout() <= Time::Elapsed()) return Calls::timeOut(call, host);
  const Time::Monotonic begun = Time::Clock::get().now();
  Lock lock(*this);
  if (calls_.isFull()) return Calls::fullError();
  return transact({call, &call, path, host, true, begun}, begun + call.getTimeout());
}

void Client::send(Message::Signal& signal) {
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  const Return end = *transact({signal}, deadline);
  if (end.isException())
    reports_.warn("Signal " + std::string(signal.getMember()) + " of " + signal.getPath() +
                  " was not sent: " + end.getErrorText());
}

void Client::send(Return& reply) {
  // A bus refuses a reply that nobody waits for, and logs that.
  if (!reply.isExpected()) return;
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  const Return end = *transact({reply, nullptr, {}, nullptr, false}, deadline);
  if (end.isException())
    reports_.warn("Reply to " + std::string(reply.getDestination()) + " was not sent: " + end.getErrorText());
}

Return Client::ask(Call call, const Time::Monotonic& deadline) { return *transact({call, &call}, deadline); }

Host* Client::watch(const std::string& name) {
  process_.requireSameProcess();
  Lock lock(*this);
  return &owners_.acquire(*this, name);
}

void Client::unwatch(Host* host) noexcept {
  if (!process_.isSameProcess()) return;
  Lock lock(*this);
  owners_.release(*host);
}

/// Whether somebody reads what the bus announces at once. Otherwise it lies unread until the next call.
bool Client::readsAtOnce() const { return link_.isUp() && (isInProcess() || listener_->readsAtOnce()); }

bool Client::isOwned(const Host& host) {
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (readsAtOnce() && host.isKnown) return !host.owner.empty();
  return answerOf<bool>(ask(driverCall("NameHasOwner", host.name), deadline)).value_or(false);
}

bool Client::awaitOwner(const Host& host, const Time::Monotonic& deadline) {
  process_.requireSameProcess();
  Lock lock(*this);
  // When the answer is here, everything is known that the bus announced while nobody read.
  if (!readsAtOnce() || !host.isKnown) static_cast<void>(ask(driverCall("NameHasOwner", host.name), deadline));
  // The owner of a unique name is known without the bus.
  while (!link_.isUp() || host.owner.empty()) {
    if (Time::Clock::get().now() >= deadline) return false;
    const Owners::Wait wait(owners_);
    const bool isDown = connect(deadline).has_value();
    settle();
    await(*wait.transaction(), isDown ? std::min(deadline, link_.nextAttempt()) : deadline);
  }
  return true;
}

std::uint64_t Client::generation(const Host& host) {
  process_.requireSameProcess();
  MutexLock lock(mutex_);
  return host.generation;
}

std::uint64_t Client::generation(const Host& host, std::string_view owner) {
  process_.requireSameProcess();
  MutexLock lock(mutex_);
  return host.owner == owner ? host.generation : 0;
}

void Client::subscribe(Receiver& receiver, Host& host, const std::string& path, bool wait) {
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (objects_.isSubscribed(receiver)) return;
  const bool wasTold = isTold();
  const ServedObjects::Subscription subscription{&receiver, &host, path};
  const std::string rule = ServedObjects::matchRule(subscription);
  objects_.subscribe(subscription);
  try {
    startListener();
    if (!wait) {
      if (wasTold) post(driverCall("AddMatch", rule));
      if (isInProcess()) static_cast<void>(connect(deadline));
      return;
    }
    // If the link comes up only now, `tell` has already added the rule. This one is added all the same, because its
    // answer tells that the first is in place; then it is removed.
    const Return reply = ask(driverCall("AddMatch", rule), deadline);
    if (reply.isException())
      throw StartFailed("Cannot subscribe to " + path + " of " + host.name + ": " + describe(reply));
    if (!wasTold) post(driverCall("RemoveMatch", rule));
  } catch (...) {
    objects_.unsubscribe(receiver);
    throw;
  }
}

void Client::unsubscribe(Receiver& receiver) {
  if (!process_.isSameProcess()) return;
  Lock lock(*this);
  const auto subscription = objects_.unsubscribe(receiver);
  if (!subscription) return;
  try {
    post(driverCall("RemoveMatch", ServedObjects::matchRule(*subscription)));
  } catch (const std::bad_alloc&) {
    // The bus keeps the rule, and the signals that it brings are ignored.
  }
}

void Client::serve(Receiver& receiver, const std::string& path, const char* description, const std::string& caller,
                   bool wait) {
  process_.requireSameProcess();
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
      // When the answer is here, the owner is known, whose calls must not be refused.
      Return reply = ask(driverCall("NameHasOwner", caller), deadline);
      if (reply.isException()) failure = std::move(reply);
    } else if (wait || isInProcess()) {
      failure = connect(deadline);
    }
    if (failure && wait) throw StartFailed("Cannot serve " + path + ": " + describe(*failure));
    areCallsExpected_ = true;
  } catch (...) {
    // The mutex was free meanwhile, so another `stop` may have withdrawn it; then this does nothing.
    objects_.withdraw(receiver, path, owners_);
    throw;
  }
}

void Client::withdraw(Receiver& receiver, const std::string& path) {
  if (!process_.isSameProcess()) return;
  Lock lock(*this);
  objects_.withdraw(receiver, path, owners_);
}

void Client::expectCalls() {
  if (answersCalls_.load(std::memory_order_acquire) || !process_.isSameProcess()) return;
  Lock lock(*this);
  if (link_.isClosed()) return;
  areCallsExpected_ = true;
  try {
    startListener();
    answersCalls_.store(true, std::memory_order_release);
  } catch (const StartFailed& error) {
    reports_.warn(std::string("Calls of peers may stay unanswered: ") + error.what());
  }
}

void Client::observe(ObserverTask& observer, const std::vector<std::string>& services) {
  process_.requireSameProcess();
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
  if (!process_.isSameProcess()) return;
  Lock lock(*this);
  if (observers_.contains(observer)) observers_.remove(observer, owners_);
}

Change Client::nextChange(const ObserverTask& observer) {
  if (!process_.isSameProcess()) return {};
  MutexLock lock(mutex_);
  return observers_.next(observer, link_);
}

void Client::becomeMonitor(Call& question) {
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (const std::optional<Return> failure = connect(deadline)) throw Return(*failure);
  limits_.setMonitor(true);  // the bus may show messages before it answers
  const Return reply = *transact({question, &question}, deadline);
  if (reply.isException()) {
    limits_.setMonitor(false);
    throw reply;
  }
  startListener();
}

void Client::requestName(const std::string& name) {
  process_.requireSameProcess();
  Message::require(Message::checkBusName(name), "bus name", name);
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  const Return reply = ask(OwnNames::request(name), deadline);
  if (reply.isException()) throw StartFailed("Cannot own the bus name " + name + ": " + describe(reply));
  if (!OwnNames::isGiven(reply)) throw StartFailed("Cannot own the bus name " + name + ": another connection has it");
  names_.add(name);
  // The owner of a name is called and must answer, even if it serves no object.
  areCallsExpected_ = true;
  startListener();
}

void Client::releaseName(const std::string& name) {
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  names_.remove(name);
  if (isTold()) static_cast<void>(ask(driverCall("ReleaseName", name), deadline));
}

std::string Client::uniqueName() {
  process_.requireSameProcess();
  const Time::Monotonic deadline = defaultDeadline();
  Lock lock(*this);
  if (const std::optional<Return> failure = connect(deadline)) throw Return(*failure);
  return link_.uniqueName();
}

void Client::linkUp() {
  ++counters_.connects;
  observers_.notify();
  owners_.endWaits();
  Exchange::linkUp();
}

void Client::linkFailed() noexcept {
  owners_.forget();
  Exchange::linkFailed();
}

void Client::tell() {
  owners_.tell();
  for (const ServedObjects::Subscription& subscription : objects_.subscriptions())
    post(driverCall("AddMatch", ServedObjects::matchRule(subscription)));
  names_.tell();
}

void Client::linkLost() noexcept {
  limits_.setMonitor(false);
  owners_.linkLost();
  Exchange::linkLost();
  observers_.notify();
}

void Client::signalArrived(const Received& message) {
  if (message.text(Field::SENDER) == DRIVER_NAME && message.text(Field::MEMBER) == "NameOwnerChanged" &&
      message.text(Field::INTERFACE) == DRIVER_INTERFACE && message.text(Field::SIGNATURE) == OWNER_CHANGE) {
    const Message::Signal signal(message.frame, message.header);
    std::string name, before, now;
    signal.begin().read(name, before, now);
    owners_.changed(name, before, now);
  }
  counters_.droppedSlow += objects_.deliverSignal(message);
}

void Client::callArrived(Received message) {
  if (limits_.isMonitor()) return;
  const Call call(message.frame, message.header);
  const bool isDiscarded = message.discarded > 0;
  std::optional<Return> reply;
  if (isDiscarded) reply = Return(call, LIMITS_EXCEEDED, limits_.describeDiscarded(message));
  if (!reply) reply = answerStandard(call, objects_);
  if (!reply) reply = objects_.deliverCall(std::move(message));
  if (reply && call.isReplyExpected()) {
    answer(std::move(*reply));
  } else if (isDiscarded) {
    reports_.countDropped(counters_.droppedTooLarge);
  }
}

bool Client::isListenerNeeded() const {
  return !link_.isClosed() &&
         (areCallsExpected_ || limits_.isMonitor() || awaitsReplies() || !objects_.isEmpty() || !observers_.isEmpty());
}

}  // namespace Quarnix::Bus::Internal
