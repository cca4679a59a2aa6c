// Compares what each observer has been told with the state of the link and of the services.
#include <platform/bus/connection/Observers.h>

#include <algorithm>
#include <utility>

#include <platform/bus/connection/Link.h>
#include <platform/bus/connection/Owners.h>

namespace Quarnix::Bus::Internal {

namespace {

template <class Entries>
auto findIn(Entries& entries, const ObserverTask& observer) {
  return std::find_if(entries.begin(), entries.end(), [&](const auto& entry) { return entry.observer == &observer; });
}

}  // namespace

void Observers::add(ObserverTask& observer, std::size_t services) {
  Entry entry{&observer, {}};
  entry.services.reserve(services);
  observers_.push_back(std::move(entry));
}

void Observers::addService(const ObserverTask& observer, Host& host) noexcept {
  findIn(observers_, observer)->services.push_back({&host});
}

void Observers::remove(const ObserverTask& observer, Owners& owners) noexcept {
  const auto found = findIn(observers_, observer);
  for (const Service& service : found->services) owners.release(*service.host);
  observers_.erase(found);
}

bool Observers::contains(const ObserverTask& observer) const noexcept {
  return findIn(observers_, observer) != observers_.end();
}

void Observers::notify() noexcept {
  for (const Entry& entry : observers_) entry.observer->stateChanged();
}

// The change is made before the observer counts as told: without memory it is tried again.
Change Observers::next(const ObserverTask& observer, const Link& link) {
  const auto found = findIn(observers_, observer);
  if (found == observers_.end()) return {};
  Entry& entry = *found;

  const bool isLost = entry.link == Known::UP && (!link.isUp() || entry.generation != link.generation());
  if (isLost || (entry.link == Known::NOTHING && !link.isUp())) {
    Change change{Change::LOST, {}, link.lossReason()};
    entry.link = Known::DOWN;
    return change;
  }
  for (Service& service : entry.services) {
    const bool hasGone = service.known == Known::UP && service.generation != service.host->generation;
    if (!hasGone && (service.known != Known::NOTHING || link.isUp())) continue;
    Change change{Change::SERVICE_DOWN, service.host->name, {}};
    service.known = Known::DOWN;
    return change;
  }
  if (!link.isUp()) return {};
  if (entry.link != Known::UP) {
    Change change{Change::CONNECTED, {}, link.uniqueName()};
    entry.link = Known::UP;
    entry.generation = link.generation();
    return change;
  }
  for (Service& service : entry.services) {
    const Host& host = *service.host;
    const Known now = !host.isKnown ? service.known : host.owner.empty() ? Known::DOWN : Known::UP;
    if (now == service.known) continue;
    Change change{now == Known::UP ? Change::SERVICE_UP : Change::SERVICE_DOWN, host.name, host.owner};
    service.known = now;
    service.generation = host.generation;
    return change;
  }
  return {};
}

}  // namespace Quarnix::Bus::Internal
