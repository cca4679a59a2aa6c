// The observers of a connection: what each has been told, and what it is told next.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <platform/bus/ObserverTask.h>

namespace Quarnix::Bus::Internal {

struct Host;
class Link;
class Owners;

/// One change that an observer is told of.
struct Change {
  enum Kind : std::uint8_t { NONE, CONNECTED, LOST, SERVICE_UP, SERVICE_DOWN };
  Kind kind = NONE;
  std::string name = {};  // of the service
  std::string text = {};  // the connection's unique name, the reason of the loss, or the service's owner
};

/// Nothing is queued for an observer. When it asks, what it has been told is compared with the present state. So a slow
/// observer costs no memory, and a change needs none. The generations show that a state has ended and come again.
///
/// Threads: the connection's mutex guards it, and every caller holds it.
class Observers {
 public:
  /// `add` adds an observer that will have that many services, and raises std::bad_alloc. `addService` adds each of
  /// them; `remove` removes the observer and releases the hosts of its services.
  void add(ObserverTask& observer, std::size_t services);
  void addService(const ObserverTask& observer, Host& host) noexcept;
  void remove(const ObserverTask& observer, Owners& owners) noexcept;
  bool contains(const ObserverTask& observer) const noexcept;
  bool isEmpty() const noexcept { return observers_.empty(); }

  /// Makes every observer ask for its next change.
  void notify() noexcept;
  /// The next change that this observer does not know; NONE if it knows everything. A loss of the link comes first,
  /// then the services that went with it, then the new link, then the services on it.
  Change next(const ObserverTask& observer, const Link& link);

 private:
  enum class Known : std::uint8_t { NOTHING, UP, DOWN };
  struct Service {
    Host* host;
    Known known = Known::NOTHING;
    std::uint64_t generation = 0;  // of the host, when the observer was told
  };
  struct Entry {
    ObserverTask* observer;
    std::vector<Service> services;
    Known link = Known::NOTHING;
    std::uint64_t generation = 0;  // of the link, when the observer was told
  };

  std::vector<Entry> observers_;
};

}  // namespace Quarnix::Bus::Internal
