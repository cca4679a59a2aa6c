// What an observer of a connection has been told, and the next change that it is to be told.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Quarnix::Bus {
class ConnectionObserver;
}

namespace Quarnix::Bus::Internal {

struct Host;

struct Change {
  enum Kind { NONE, CONNECTED, LOST, SERVICE_UP, SERVICE_DOWN };
  Kind kind = NONE;
  std::string name = {};  // of the service
  std::string text = {};  // our unique name, the reason of the loss, or the service's owner
};

/// Nothing is queued for an observer: what it was told is compared with what is, so that one that is slow costs no
/// memory and a change is noted without needing any. The counts tell a state from the same state come back.
struct Observing {
  enum class Told { NOTHING, UP, DOWN };
  struct Service {
    Host* host;
    Told told = Told::NOTHING;
    std::uint64_t losses = 0;  // the host's when it was told
  };

  ConnectionObserver* observer;
  std::vector<Service> services = {};
  Told told = Told::NOTHING;  // of the link
  std::uint64_t links = 0;    // the client's when it was told
};

}  // namespace Quarnix::Bus::Internal
