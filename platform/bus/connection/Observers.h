// The observers of a connection: what each was told, and what it is to be told next.
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
  std::string text = {};  // our unique name, the reason of the loss, or the service's owner
};

/// Nothing is queued for an observer. What it was told is compared with the state as it is, so that a slow observer
/// costs no memory, and noting a change needs none. The generations tell a state from the same state come back.
///
/// Threads: the connection's mutex guards it, and is held by every caller.
class Observers {
 public:
  /// An observer of the link, and of that many services, whose hosts are added next and released with it. `add` raises
  /// std::bad_alloc.
  void add(ObserverTask& observer, std::size_t services);
  void addService(const ObserverTask& observer, Host& host) noexcept;
  /// Removes the observer and releases its hosts.
  void remove(const ObserverTask& observer, Owners& owners) noexcept;
  bool contains(const ObserverTask& observer) const noexcept;
  bool isEmpty() const noexcept { return observers_.empty(); }

  /// Has every observer ask for its next change.
  void notify() noexcept;
  /// What this observer is to be told now; nothing if it knows everything. A loss of the link comes first, then the
  /// services that went with it, then the new link, then the services on it.
  Change next(const ObserverTask& observer, const Link& link);

 private:
  enum class Known : std::uint8_t { NOTHING, UP, DOWN };
  struct Service {
    Host* host;
    Known known = Known::NOTHING;
    std::uint64_t generation = 0;  // the host's when it was told
  };
  struct Entry {
    ObserverTask* observer;
    std::vector<Service> services;
    Known link = Known::NOTHING;
    std::uint64_t generation = 0;  // the link's when it was told
  };

  std::vector<Entry> observers_;
};

}  // namespace Quarnix::Bus::Internal
