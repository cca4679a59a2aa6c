// Who owns the services' names: what a change means for the calls on their way, asking, waiting, and telling one tenure
// from the next.
#include <cstring>
#include <utility>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

void Client::ownerLearnt(Host& host, const std::string& owner) {
  // An answer that comes when nobody asks any more would be out of date by the time that somebody does.
  if (host.users == 0) return;
  if (!host.known || host.owner != owner) notifyObservers();
  if (!host.owner.empty() && host.owner != owner) ++host.losses;
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
                 if (pending.host != &host || !pending.isHeldBy(before)) {
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

void Client::peerVanished(const std::string& uniqueName) {
  MutexLock lock(mutex_);
  for (auto entry = pending_.begin(); entry != pending_.end();) {
    if (!entry->second->isHeldBy(uniqueName)) {
      ++entry;
      continue;
    }
    const std::shared_ptr<Pending> kept = std::move(entry->second);
    entry = pending_.erase(entry);
    kept->reply.emplace("org.freedesktop.DBus.Error.NoReply", "The service left the bus without replying");
    finish(*kept);
  }
}

/// Whether what the bus announces is read at once; otherwise it lies unread until the next call.
bool Client::isUpToDate() const { return transport_ && (addresses_.empty() || backgroundRuns_); }

bool Client::askWhetherOwned(const Host& host, const Time::Monotonic& deadline) {
  Call question = driverCall("NameHasOwner", host.name);
  const Return reply = call(question, deadline);
  bool owned = false;
  if (!reply.isException() && std::strcmp(reply.getSignature(), "b") == 0)
    static_cast<const Message::Base&>(reply).begin().get(owned);
  return owned;
}

bool Client::isOwned(const Host& host) {
  requireSameProcess();
  const Time::Monotonic deadline = Time::Clock::get().now() + Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  if (isUpToDate() && host.known) return !host.owner.empty();
  return askWhetherOwned(host, deadline);
}

bool Client::awaitOwner(const Host& host, const Time::Monotonic& deadline) {
  requireSameProcess();
  MutexLock lock(mutex_);
  ++awaitingOwners_;
  const auto isThere = [&]() HEVRA_REQUIRES(mutex_) { return transport_ && !host.owner.empty(); };
  try {
    // Behind the answer what was announced while nobody read is known.
    if (!isUpToDate() || !host.known) askWhetherOwned(host, deadline);
    keepInBackground();
    wakeBackground();
    while (!isThere() && Time::Clock::get().wait(ownersChanged_, mutex_, deadline)) {
    }
  } catch (...) {
    --awaitingOwners_;
    throw;
  }
  --awaitingOwners_;
  wakeBackground();
  return isThere();
}

std::uint64_t Client::tenure(const Host& host) {
  MutexLock lock(mutex_);
  return host.losses + 1;
}

std::uint64_t Client::tenure(const Host& host, std::string_view owner) {
  MutexLock lock(mutex_);
  return host.owner == owner ? host.losses + 1 : 0;
}

}  // namespace Quarnix::Bus::Internal
