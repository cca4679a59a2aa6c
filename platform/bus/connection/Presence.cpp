// Whether a service is there: asking, waiting, and telling one tenure of its name from the next.
#include <cstring>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

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
  return host.changes + 1;
}

std::uint64_t Client::tenure(const Host& host, std::string_view owner) {
  MutexLock lock(mutex_);
  return host.owner == owner ? host.changes + 1 : 0;
}

}  // namespace Quarnix::Bus::Internal
