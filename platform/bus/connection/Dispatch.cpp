// What arrives: replies to those who wait, signals and calls to the objects, names to the hosts.
#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/MutexUnlock.h>
#include <platform/bus/object/Proxy.h>
#include <platform/bus/object/Server.h>

namespace Quarnix::Bus::Internal {

using Message::Field;
using Message::Method::Call;
using Message::Method::Return;

namespace {

std::string_view textOf(const Received& message, Field field) noexcept {
  const Message::Header::Text& place = message.header.text(field);
  return {reinterpret_cast<const char*>(message.frame.data() + place.offset), place.length};
}

bool isFormer(const Pending& pending, std::string_view owner) noexcept {
  return std::find(pending.former.begin(), pending.former.end(), owner) != pending.former.end();
}

/// Whether nobody but this owner can have the call.
bool isHeldBy(const Pending& pending, std::string_view owner) noexcept {
  return pending.owner == owner || (pending.owner.empty() && isFormer(pending, owner));
}

}  // namespace

void Client::dispatchAll(std::vector<Received>& messages) {
  for (Received& message : messages) dispatchOrDrop(message);
  messages.clear();
  wakeAnswered();
}

/// With the mutex free for a moment, or a thread would wake only to wait for it.
void Client::wakeAnswered() {
  if (!answered_) return;
  std::shared_ptr<Pending> one = std::move(answered_);
  MutexUnlock unlock(mutex_);
  for (; one; one = std::move(one->nextAnswered)) one->changed.notifyOne();
}

void Client::dispatchOrDrop(Received& message) {
  try {
    dispatch(message);
  } catch (const std::bad_alloc&) {
    dropped_.fetch_add(1);
  }
}

void Client::dispatch(Received& message) {
  switch (static_cast<Message::Type>(message.header.type)) {
    case Message::Type::METHOD_RETURN:
    case Message::Type::ERROR:
      return dispatchReply(message);
    case Message::Type::SIGNAL:
      return dispatchSignal(message);
    case Message::Type::METHOD_CALL:
      return dispatchCall(message);
    default:
      return;  // kinds that are not known are to be ignored
  }
}

void Client::dispatchReply(Received& message) {
  const auto found = pending_.find(message.header.replySerial);
  if (found == pending_.end()) return;
  Pending& pending = *found->second;
  // A reply counts from whom the call went to. The bus answers in its own name when there is nobody.
  const std::string_view sender = textOf(message, Field::SENDER);
  const bool error = message.header.type == static_cast<std::uint8_t>(Message::Type::ERROR);
  const bool fromBus = sender == DRIVER_NAME && (error || pending.owner == DRIVER_NAME);
  const bool fromOwner = !sender.empty() && (sender == pending.owner || isFormer(pending, sender));
  if (!fromBus && !fromOwner) return;

  const std::shared_ptr<Pending> kept = std::move(found->second);
  pending_.erase(found);
  kept->reply.emplace(std::move(message.frame), message.header);
  kept->done = true;
  if (kept->waiting) {
    kept->nextAnswered = std::move(answered_);
    answered_ = kept;
  } else if (reader_ == kept.get()) {
    wakeReader();
  }
  if (kept->handler) kept->handler(*kept->reply);
}

void Client::dispatchSignal(Received& message) {
  const std::string_view sender = textOf(message, Field::SENDER);
  if (sender == DRIVER_NAME && textOf(message, Field::MEMBER) == "NameOwnerChanged" &&
      textOf(message, Field::INTERFACE) == DRIVER_INTERFACE && textOf(message, Field::SIGNATURE) == "sss") {
    const Message::Signal signal(message.frame, message.header);
    std::string name, before, now;
    static_cast<const Message::Base&>(signal).begin().read(name, before, now);
    ownerChanged(name, before, now);
  }
  const std::string_view path = textOf(message, Field::PATH);
  for (const StartedProxy& started : proxies_) {
    // Nobody but the owner of the host's name speaks for the object, whatever a match rule lets through.
    if (started.host->owner.empty() || started.host->owner != sender || started.proxy->getPath() != path) continue;
    static_cast<Object::Base*>(started.proxy)->enqueue(message.frame, message.header, true);
  }
}

void Client::dispatchCall(Received& message) {
  const auto found = servers_.find(textOf(message, Field::PATH));
  const Call call(message.frame, message.header);
  if (answerStandard(call)) return;
  if (found == servers_.end()) {
    refuse(call, "org.freedesktop.DBus.Error.UnknownObject",
           "No object at " + std::string(call.getPath()) + " is served here");
    return;
  }
  const auto& [server, caller] = found->second;
  if (caller && (caller->owner.empty() || caller->owner != textOf(message, Field::SENDER))) {
    static_cast<Object::Base*>(server)->countKeptOut();
    refuse(call, "org.freedesktop.DBus.Error.AccessDenied",
           "Only the owner of " + caller->name + " may call the object at " + std::string(call.getPath()));
    return;
  }
  if (!static_cast<Object::Base*>(server)->enqueue(std::move(message.frame), message.header, false))
    refuse(call, "org.freedesktop.DBus.Error.LimitsExceeded",
           "Too many calls wait for the object at " + std::string(call.getPath()));
}

void Client::refuse(const Call& call, const char* errorName, const std::string& text) {
  if (call.isReplyExpected()) answer(Return(call, errorName, text));
}

void Client::ownerLearnt(Host& host, const std::string& owner) {
  // An answer that comes when nobody asks any more would be out of date by the time that somebody does.
  if (host.users == 0) return;
  if (!host.known || host.owner != owner) notifyObservers();
  if (host.owner != owner) ++host.changes;
  host.known = true;
  host.owner = owner;
  // A call that was sent while the name had no owner belongs to the first one that is announced after it.
  for (auto& [serial, pending] : pending_)
    if (pending->host == &host && pending->owner.empty()) pending->owner = owner;
}

void Client::ownerChanged(const std::string& name, const std::string& before, const std::string& now) {
  const auto found = hosts_.find(name);
  if (found == hosts_.end()) return;
  Host& host = found->second;
  ownerLearnt(host, now);

  bool isContested = false;
  for (auto& [serial, pending] : pending_) {
    if (before.empty() || pending->host != &host || pending->owner != before) continue;
    if (pending->settledAt == 0 || reads_ < pending->settledAt) {
      // The change may be older than the call, which then went to the new owner: either may reply.
      pending->former.push_back(std::exchange(pending->owner, now));
      isContested |= now.empty();
    } else {
      isContested = true;
    }
  }
  if (!isContested) return;
  // If the old owner has gone from the bus, or the name had no owner when the call came, the bus itself has answered
  // before it answers this. Otherwise the old owner has the call but not the name, and nobody can say that it replies.
  callDriver(driverCall("NameHasOwner", before),
             [this, &host, before](const Return& reply) HEVRA_NO_THREAD_SAFETY_ANALYSIS {
               bool alive = true;
               if (!reply.isException() && std::strcmp(reply.getSignature(), "b") == 0)
                 static_cast<const Message::Base&>(reply).begin().get(alive);
               if (!alive || host.owner == before) return;
               for (auto entry = pending_.begin(); entry != pending_.end();) {
                 const Pending& pending = *entry->second;
                 if (pending.host != &host || !isHeldBy(pending, before)) {
                   ++entry;
                   continue;
                 }
                 const std::shared_ptr<Pending> kept = std::move(entry->second);
                 entry = pending_.erase(entry);
                 kept->reply.emplace("org.freedesktop.DBus.Error.NameHasNoOwner",
                                     "The service gave up the name " + host.name + " during the call");
                 finish(*kept);
               }
             });
}

void Client::answer(Return reply) {
  if (unsentAnswers_ > MAXIMUM_UNSENT_ANSWERS) {
    dropped_.fetch_add(1);
    return;
  }
  Message::Base::Route route;
  if (addresses_.empty()) route.sender = uniqueName_;
  Message::Frame frame = reply.seal(nextSerial(), route);
  unsentAnswers_ += frame.size();
  outgoing_.push_back({std::move(frame), nullptr});
}

void Client::incoming(Received message) {
  MutexLock lock(mutex_);
  if (!transport_) return;
  dispatchOrDrop(message);
  wakeAnswered();
}

void Client::peerVanished(const std::string& uniqueName) {
  MutexLock lock(mutex_);
  for (auto entry = pending_.begin(); entry != pending_.end();) {
    if (!isHeldBy(*entry->second, uniqueName)) {
      ++entry;
      continue;
    }
    const std::shared_ptr<Pending> kept = std::move(entry->second);
    entry = pending_.erase(entry);
    kept->reply.emplace("org.freedesktop.DBus.Error.NoReply", "The service left the bus without replying");
    finish(*kept);
  }
}

void Client::flushAnswers() {
  {
    MutexLock lock(mutex_);
    if (!outgoing_.empty() && !writing_) flush();
  }
  report();
}

}  // namespace Quarnix::Bus::Internal
