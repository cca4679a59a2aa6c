// Delivers signals and calls to the started objects.
#include <platform/bus/connection/ServedObjects.h>

#include <algorithm>
#include <set>
#include <utility>

#include <platform/bus/connection/StandardInterfaces.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Internal {

using Message::Field;
using Message::Method::Call;
using Message::Method::Return;

namespace {

/// The path as an error shows it. A path may be of any length, so it is cut.
std::string shown(std::string_view path) {
  if (path.size() <= Message::MAXIMUM_NAME_LENGTH) return std::string(path);
  return std::string(path.substr(0, Message::MAXIMUM_NAME_LENGTH)) + "...";
}

}  // namespace

bool ServedObjects::isSubscribed(const Receiver& receiver) const noexcept {
  return std::any_of(subscriptions_.begin(), subscriptions_.end(),
                     [&](const Subscription& entry) { return entry.receiver == &receiver; });
}

void ServedObjects::subscribe(Subscription subscription) { subscriptions_.push_back(std::move(subscription)); }

std::optional<ServedObjects::Subscription> ServedObjects::unsubscribe(const Receiver& receiver) noexcept {
  const auto found = std::find_if(subscriptions_.begin(), subscriptions_.end(),
                                  [&](const Subscription& entry) { return entry.receiver == &receiver; });
  if (found == subscriptions_.end()) return std::nullopt;
  Subscription taken = std::move(*found);
  subscriptions_.erase(found);
  return taken;
}

std::string ServedObjects::matchRule(const Subscription& subscription) {
  return "type='signal',sender='" + subscription.host->name + "',path='" + subscription.path + "'";
}

ServedObjects::Served* ServedObjects::find(std::string_view path) noexcept {
  const auto found = served_.find(path);
  return found == served_.end() ? nullptr : &found->second;
}

ServedObjects::Served& ServedObjects::serve(const std::string& path, Served served) {
  return served_.emplace(path, served).first->second;
}

void ServedObjects::withdraw(const Receiver& receiver, const std::string& path, Owners& owners) noexcept {
  const auto found = served_.find(path);
  if (found == served_.end() || found->second.receiver != &receiver) return;
  if (found->second.caller) owners.release(*found->second.caller);
  served_.erase(found);
}

std::size_t ServedObjects::deliverSignal(const Received& signal) {
  std::size_t dropped = 0;
  const std::string_view sender = signal.text(Field::SENDER);
  const std::string_view path = signal.text(Field::PATH);
  for (const Subscription& entry : subscriptions_)
    if (!sender.empty() && entry.host->owner == sender && entry.path == path)
      dropped += entry.receiver->enqueue(signal.frame, signal.header, true).dropped;
  return dropped;
}

std::optional<Return> ServedObjects::deliverCall(Received message) {
  const Call call(message.frame, message.header);
  const Served* const served = find(message.text(Field::PATH));
  const std::string path = shown(call.getPath());
  if (!served)
    return Return(call, "org.freedesktop.DBus.Error.UnknownObject", "No object at " + path + " is served here");
  const Host* const caller = served->caller;
  if (caller && (caller->owner.empty() || caller->owner != message.text(Field::SENDER))) {
    served->receiver->countRefused();
    return Return(call, "org.freedesktop.DBus.Error.AccessDenied",
                  "Only the owner of " + caller->name + " may call the object at " + path);
  }
  if (served->receiver->enqueue(std::move(message.frame), message.header, false).isTaken) return std::nullopt;
  return Return(call, LIMITS_EXCEEDED, "Too many calls wait for the object at " + path);
}

std::string ServedObjects::describe(const std::string& path) const {
  const std::string prefix = path == "/" ? path : path + "/";
  std::set<std::string> children;
  for (auto entry = served_.lower_bound(prefix); entry != served_.end() && entry->first.starts_with(prefix); ++entry) {
    const std::string rest = entry->first.substr(prefix.size());
    children.insert(rest.substr(0, rest.find('/')));
  }
  const auto served = served_.find(path);
  const bool isServed = served != served_.end();
  if (!isServed && children.empty() && path != "/") return {};
  return describeNode(isServed ? served->second.description : nullptr, children);
}

}  // namespace Quarnix::Bus::Internal
