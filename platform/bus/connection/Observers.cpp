// Observers of the connection: which there are, and what each is to be told next.
#include <algorithm>

#include <platform/bus/ConnectionObserver.h>
#include <platform/bus/Error.h>
#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/Driver.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

using Told = Observing::Told;

std::vector<Observing>::iterator Client::find(const ConnectionObserver& observer) {
  return std::find_if(observers_.begin(), observers_.end(),
                      [&](const Observing& entry) { return entry.observer == &observer; });
}

void Client::start(ConnectionObserver& observer, const std::vector<std::string>& services) {
  requireSameProcess();
  for (const std::string& name : services)
    if (name.starts_with(':') || name == DRIVER_NAME)
      throw InvalidArgument("Name of a service to observe: '" + name + "' given, expected one that a service can own");
  const Time::Monotonic deadline = Time::Clock::get().now() + Message::Method::Call::DEFAULT_TIMEOUT;
  MutexLock lock(mutex_);
  if (find(observer) != observers_.end()) return;
  observers_.push_back({&observer});
  try {
    observers_.back().services.reserve(services.size());
    for (const std::string& name : services) observers_.back().services.push_back({&acquire(name)});
    keepInBackground();
  } catch (...) {
    forget(find(observer));
    throw;
  }
  if (addresses_.empty()) static_cast<void>(connect(deadline));
  if (!outgoing_.empty() && !writing_) flush();
  wakeBackground();
  observer.schedule();
}

void Client::stop(ConnectionObserver& observer) {
  if (!isSameProcess()) return;
  MutexLock lock(mutex_);
  const auto found = find(observer);
  if (found == observers_.end()) return;
  forget(found);
  if (!outgoing_.empty() && !writing_) flush();
  wakeBackground();
}

void Client::forget(std::vector<Observing>::iterator entry) {
  for (const Observing::Service& service : entry->services) release(*service.host);
  observers_.erase(entry);
}

void Client::notifyObservers() noexcept {
  if (awaitingOwners_) ownersChanged_.notifyAll();
  for (const Observing& entry : observers_) entry.observer->schedule();
}

/// A loss of the link comes first, then what went with it, the link's return, and what came with that. The change is
/// made before it counts as told, so that without memory it is tried again.
Change Client::nextChange(const ConnectionObserver& observer) {
  MutexLock lock(mutex_);
  const auto found = find(observer);
  if (found == observers_.end()) return {};
  Observing& seen = *found;
  const bool connected = transport_ != nullptr;

  if (seen.told == Told::UP ? seen.links != links_ || !connected : seen.told == Told::NOTHING && !connected) {
    Change change{Change::LOST, {}, lossReason_};
    seen.told = Told::DOWN;
    return change;
  }
  for (Observing::Service& service : seen.services) {
    const bool gone = service.told == Told::UP && service.losses != service.host->losses;
    if (!gone && (service.told != Told::NOTHING || connected)) continue;
    Change change{Change::SERVICE_DOWN, service.host->name, {}};
    service.told = Told::DOWN;
    return change;
  }
  if (!connected) return {};
  if (seen.told != Told::UP) {
    Change change{Change::CONNECTED, {}, uniqueName_};
    seen.told = Told::UP;
    seen.links = links_;
    return change;
  }
  for (Observing::Service& service : seen.services) {
    const Host& host = *service.host;
    const Told now = !host.known ? service.told : host.owner.empty() ? Told::DOWN : Told::UP;
    if (now == service.told) continue;
    Change change{now == Told::UP ? Change::SERVICE_UP : Change::SERVICE_DOWN, host.name, host.owner};
    service.told = now;
    service.losses = host.losses;
    return change;
  }
  return {};
}

}  // namespace Quarnix::Bus::Internal
