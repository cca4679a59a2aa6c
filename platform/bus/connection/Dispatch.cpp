// What arrives: replies to those who wait, signals and calls to the objects, names to the hosts.
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
  const bool fromOwner = !sender.empty() && (sender == pending.owner || pending.isFormer(sender));
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
  if (monitors_) return;
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

void Client::flushAnswers() {
  {
    MutexLock lock(mutex_);
    if (!outgoing_.empty() && !writing_) flush();
  }
  report();
}

}  // namespace Quarnix::Bus::Internal
