// Asks the bus for owners, and follows their changes.
#include <platform/bus/connection/Owners.h>

#include <algorithm>
#include <new>
#include <utility>

#include <platform/bus/connection/Link.h>
#include <platform/bus/connection/Observers.h>
#include <platform/bus/connection/ReaderRole.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Return;

std::string Owners::matchRule(const std::string& name) {
  return "type='signal',sender='org.freedesktop.DBus',path='/org/freedesktop/DBus',"
         "interface='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" +
         name + "'";
}

Host& Owners::acquire(Client& client, const std::string& name) {
  Message::require(Message::checkBusName(name), "bus name of the service", name);
  const auto [entry, isNew] = hosts_.try_emplace(name, Host{&client, name});
  if (isNew) {
    try {
      ask(entry->second);
    } catch (...) {
      hosts_.erase(entry);
      throw;
    }
  }
  if (&entry->second == unused_) unused_ = nullptr;
  ++entry->second.users;
  return entry->second;
}

void Owners::release(Host& host) noexcept {
  if (--host.users > 0) return;
  if (unused_) {
    try {
      if (unused_->name != DRIVER_NAME) bus_.post(driverCall("RemoveMatch", matchRule(unused_->name)));
    } catch (const std::bad_alloc&) {
      // The bus keeps the rule, and the signals that it brings are ignored.
    }
    dropUnused();
  }
  unused_ = &host;
}

void Owners::dropUnused() noexcept {
  if (const Host* const host = std::exchange(unused_, nullptr)) hosts_.erase(hosts_.find(host->name));
}

void Owners::ask(Host& host) {
  host.isKnown = false;
  if (host.name == DRIVER_NAME) {
    host.owner = DRIVER_NAME;
    return;
  }
  bus_.post(driverCall("AddMatch", matchRule(host.name)));
  if (host.name[0] == ':') {
    host.owner = host.name;
    return;
  }
  // The answer to an earlier question may be out of date, because nothing is announced while nobody uses the name.
  const std::uint64_t question = host.question = ++questions_;
  bus_.post(driverCall("GetNameOwner", host.name), [this, name = host.name, question](const Return& reply) {
    const auto found = hosts_.find(name);
    if (found != hosts_.end() && found->second.question == question)
      learn(found->second, answerOf<std::string>(reply).value_or(""));
  });
}

void Owners::learn(Host& host, const std::string& owner) {
  const bool isNews = !host.isKnown || host.owner != owner;
  if (!host.owner.empty() && host.owner != owner) ++host.generation;
  host.isKnown = true;
  host.owner = owner;
  calls_.setOwner(host, owner, moment());
  if (!isNews) return;
  endWaits();
  observers_.notify();
}

/// When the message arrived that is dealt with now, counted as in Transaction::settledAt.
std::uint64_t Owners::moment() const noexcept {
  return link_.isReadable() ? reader_.reads() : link_.transport()->routed();
}

void Owners::changed(const std::string& name, const std::string& before, const std::string& now) {
  const auto found = hosts_.find(name);
  if (found == hosts_.end()) return;
  learn(found->second, now);
  const std::uint64_t question = ++questions_;
  if (!calls_.changeOwner(found->second, before, now, moment(), question)) return;
  // If the old owner has left the bus, or the name had no owner when the call came, the bus itself answers the call
  // before it answers this question. Otherwise the old owner has the call but not the name, and it may never reply,
  // even if it takes the name again meanwhile.
  bus_.post(driverCall("NameHasOwner", before), [this, name, question](const Return& reply) {
    if (!answerOf<bool>(reply).value_or(true)) return;
    calls_.failThoseAsked(question, "org.freedesktop.DBus.Error.NameHasNoOwner",
                          "The service gave up the name " + name + " during the call");
  });
}

void Owners::tell() {
  dropUnused();
  for (auto& [name, host] : hosts_) ask(host);
}

void Owners::forget() noexcept {
  for (auto& [name, host] : hosts_) host.owner.clear();
}

void Owners::linkLost() noexcept {
  for (auto& [name, host] : hosts_) {
    host.owner.clear();
    ++host.generation;
  }
  endWaits();
}

void Owners::endWaits() noexcept {
  for (const Wait* wait : waits_) calls_.end(wait->transaction(), Transaction::State::UNSENT);
}

Owners::Wait::Wait(Owners& owners) : owners_(owners), transaction_(std::make_shared<Transaction>(Request{none_})) {
  owners_.waits_.push_back(this);
}

Owners::Wait::~Wait() { owners_.waits_.erase(std::find(owners_.waits_.begin(), owners_.waits_.end(), this)); }

}  // namespace Quarnix::Bus::Internal
