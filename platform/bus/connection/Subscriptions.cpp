// What the connection asks of the bus: match rules, owners of names, names of its own; and the started objects.
#include <algorithm>
#include <cstring>
#include <new>

#include <platform/bus/Error.h>
#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/message/Names.h>
#include <platform/bus/object/Proxy.h>
#include <platform/bus/object/Server.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

namespace {

constexpr std::uint32_t QUEUE = 0;
constexpr std::uint32_t DO_NOT_QUEUE = 4;
constexpr std::uint32_t PRIMARY_OWNER = 1;
constexpr std::uint32_t ALREADY_OWNER = 4;

void ignore(const Return&) {}

}  // namespace

std::string Client::ownerRule(const std::string& name) {
  return "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
         "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
         name + "'";
}

std::string Client::signalRule(const Object::Proxy& proxy, const Host& host) {
  return "type='signal',sender='" + host.name + "',path='" + proxy.getPath() + "'";
}

/// Sends a call to the bus without waiting. Nothing when the bus is not there: `restore` asks for all of it anew.
void Client::callDriver(Call call, std::function<void(const Return&)> handler) {
  if (!transport_) return;
  auto pending = std::make_shared<Pending>();
  pending->replyExpected = true;
  pending->owner = DRIVER_NAME;
  pending->handler = std::move(handler);
  submit(call, {}, pending);
}

/// Asks for changes of the name's owner, and then for the owner, so that nothing between the two is missed. The bus
/// answers in order: whoever sends a call after this knows the owner before the reply.
void Client::subscribe(Host& host) {
  host.known = false;
  if (host.name == DRIVER_NAME) {
    host.owner = DRIVER_NAME;
    return;
  }
  callDriver(driverCall("AddMatch", ownerRule(host.name)), ignore);
  if (host.name[0] == ':') {
    host.owner = host.name;
    return;
  }
  callDriver(driverCall("GetNameOwner", host.name), [this, &host](const Return& reply) HEVRA_NO_THREAD_SAFETY_ANALYSIS {
    std::string owner;
    if (!reply.isException() && std::strcmp(reply.getSignature(), "s") == 0)
      static_cast<const Message::Base&>(reply).begin().get(owner);
    ownerLearnt(host, owner);
  });
}

/// On a new link: everything that the bus had known of this connection. Comes before anything else is sent.
void Client::restore() {
  for (auto& [name, host] : hosts_)
    if (host.users > 0) subscribe(host);
  for (const StartedProxy& started : proxies_)
    callDriver(driverCall("AddMatch", signalRule(*started.proxy, *started.host)), ignore);
  for (const std::string& name : names_) askForNameAgain(name);
}

/// Where another connection has taken the name meanwhile, the bus keeps us in its queue and gives it back after that
/// one.
void Client::askForNameAgain(const std::string& name) {
  const auto look = [this, name](const Return& reply) HEVRA_NO_THREAD_SAFETY_ANALYSIS {
    std::uint32_t result = 0;
    if (reply.isException()) {
      warnings_.push_back("The bus name " + name + " was not given back: " + reply.getErrorName() + ": " +
                          reply.getErrorText());
      return;
    }
    if (std::strcmp(reply.getSignature(), "u") == 0) static_cast<const Message::Base&>(reply).begin().get(result);
    if (result != PRIMARY_OWNER && result != ALREADY_OWNER)
      warnings_.push_back("The bus name " + name + " was taken by another connection: it comes back after that one");
  };
  callDriver(driverCall("RequestName", name, QUEUE), look);
}

Host* Client::watch(const std::string& name) {
  requireSameProcess();
  MutexLock lock(mutex_);
  return &acquire(name);
}

void Client::unwatch(Host* host) noexcept {
  if (!isSameProcess()) return;
  MutexLock lock(mutex_);
  release(*host);
}

Host& Client::acquire(const std::string& name) {
  Message::require(Message::checkBusName(name), "bus name of the service", name);
  Host& host = hosts_.try_emplace(name, Host{this, name, {}, 0}).first->second;
  if (host.users == 0) subscribe(host);
  ++host.users;
  return host;
}

void Client::release(Host& host) noexcept {
  if (--host.users > 0) return;
  host.owner.clear();
  if (host.name == DRIVER_NAME) return;
  try {
    callDriver(driverCall("RemoveMatch", ownerRule(host.name)), ignore);
  } catch (const std::bad_alloc&) {
    // The rule stays with the bus; what it brings is ignored.
  }
}

/// A call of the connection's own for which the caller waits, with the mutex held before and after.
Return Client::call(Call& call, const Time::Monotonic& deadline) {
  for (;;) {
    if (std::optional<Return> failure = connect(deadline)) return std::move(*failure);
    auto pending = std::make_shared<Pending>();
    pending->replyExpected = true;
    pending->owner = DRIVER_NAME;
    submit(call, {}, pending);
    exchange(*pending, deadline);
    if (pending->retry && Time::Clock::get().now() < deadline) continue;
    if (pending->lost) return lossError();
    if (pending->reply) return std::move(*pending->reply);
    withdraw(pending);
    return Return("org.freedesktop.DBus.Error.NoReply", "The message bus did not reply in time");
  }
}

void Client::start(Object::Proxy& proxy, Host* host, bool wait) {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  const auto isThis = [&](const StartedProxy& started) { return started.proxy == &proxy; };
  if (std::any_of(proxies_.begin(), proxies_.end(), isThis)) return;
  const bool connected = state_ == State::CONNECTED;
  proxies_.push_back({&proxy, host});
  try {
    keepInBackground();
    if (!wait) {
      if (connected) callDriver(driverCall("AddMatch", signalRule(proxy, *host)), ignore);
      if (addresses_.empty()) static_cast<void>(connect(deadline));
      if (!writing_) flush();
      wakeBackground();
      return;
    }
    // On a link that comes up only now, `restore` has subscribed already; a second rule is asked for all the same,
    // because its answer tells that the first is in place. It is taken back at once.
    Call add = driverCall("AddMatch", signalRule(proxy, *host));
    const Return reply = call(add, deadline);
    if (reply.isException())
      throw StartFailed("Cannot subscribe to " + proxy.getPath() + " of " + host->name + ": " + reply.getErrorName() +
                        ": " + reply.getErrorText());
    if (!connected) callDriver(driverCall("RemoveMatch", signalRule(proxy, *host)), ignore);
    if (!outgoing_.empty() && !writing_) flush();
  } catch (...) {
    proxies_.erase(std::find_if(proxies_.begin(), proxies_.end(), isThis));
    wakeBackground();
    throw;
  }
}

void Client::stop(Object::Proxy& proxy) {
  if (!isSameProcess()) return;
  MutexLock lock(mutex_);
  const auto found = std::find_if(proxies_.begin(), proxies_.end(),
                                  [&](const StartedProxy& started) { return started.proxy == &proxy; });
  if (found == proxies_.end()) return;
  const Host* host = found->host;
  proxies_.erase(found);
  try {
    callDriver(driverCall("RemoveMatch", signalRule(proxy, *host)), ignore);
  } catch (const std::bad_alloc&) {
    // The rule stays with the bus; what it brings is ignored.
  }
  if (!outgoing_.empty() && !writing_) flush();
  wakeBackground();
}

void Client::start(Object::Server& server, const std::string& caller, bool wait) {
  requireSameProcess();
  Message::require(Message::checkMessagePath(server.getPath()), "object path of the server", server.getPath());
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  const auto [entry, inserted] = servers_.try_emplace(server.getPath(), StartedServer{&server, nullptr});
  if (!inserted) {
    if (entry->second.server == &server) return;
    throw StartFailed("An object is already served at " + server.getPath() + ": expected a path of its own");
  }
  try {
    if (!caller.empty()) entry->second.caller = &acquire(caller);
    keepInBackground();
    std::optional<Return> failure;
    if (!caller.empty() && wait) {
      // Behind its answer the owner is known, whose calls are not to be refused.
      Call question = driverCall("NameHasOwner", caller);
      if (Return reply = call(question, deadline); reply.isException()) failure = std::move(reply);
    } else if (wait || addresses_.empty()) {
      failure = connect(deadline);
    }
    if (failure && wait)
      throw StartFailed("Cannot serve " + server.getPath() + ": " + failure->getErrorName() + ": " +
                        failure->getErrorText());
    if (!outgoing_.empty() && !writing_) flush();
    wakeBackground();
  } catch (...) {
    if (const auto left = servers_.find(server.getPath()); left != servers_.end() && left->second.server == &server) {
      if (left->second.caller) release(*left->second.caller);
      servers_.erase(left);
    }
    wakeBackground();
    throw;
  }
}

void Client::stop(Object::Server& server) {
  if (!isSameProcess()) return;
  MutexLock lock(mutex_);
  const auto found = servers_.find(server.getPath());
  if (found == servers_.end() || found->second.server != &server) return;
  if (found->second.caller) release(*found->second.caller);
  servers_.erase(found);
  if (!outgoing_.empty() && !writing_) flush();
  wakeBackground();
}

void Client::becomeMonitor(Call& question) {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  if (const std::optional<Return> failure = connect(deadline)) throw Return(*failure);
  monitors_ = true;  // what is shown may come with the answer
  const Return reply = call(question, deadline);
  if (reply.isException()) {
    monitors_ = false;
    throw reply;
  }
  keepInBackground();
  wakeBackground();
}

void Client::requestName(const std::string& name) {
  requireSameProcess();
  Message::require(Message::checkBusName(name), "bus name", name);
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  Call request = driverCall("RequestName", name, DO_NOT_QUEUE);
  const Return reply = call(request, deadline);
  if (reply.isException())
    throw StartFailed("Cannot own the bus name " + name + ": " + reply.getErrorName() + ": " + reply.getErrorText());
  std::uint32_t result = 0;
  if (std::strcmp(reply.getSignature(), "u") == 0) static_cast<const Message::Base&>(reply).begin().get(result);
  if (result != PRIMARY_OWNER && result != ALREADY_OWNER)
    throw StartFailed("Cannot own the bus name " + name + ": another connection has it");
  if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
  // Whoever owns a name is called, and has to answer even when no object is served.
  keepInBackground();
}

void Client::releaseName(const std::string& name) {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  names_.erase(std::remove(names_.begin(), names_.end(), name), names_.end());
  wakeBackground();
  if (!transport_) return;
  Call release = driverCall("ReleaseName", name);
  static_cast<void>(call(release, deadline));
}

std::string Client::uniqueName() {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  if (const std::optional<Return> failure = connect(deadline)) throw *failure;
  return uniqueName_;
}

}  // namespace Quarnix::Bus::Internal
