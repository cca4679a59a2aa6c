// Whoever reads a connection while nobody calls.
#pragma once

#include <cstdint>

#include <platform/bus/connection/Transport.h>

namespace Quarnix::Bus::Internal {

/// While objects are started or asynchronous calls wait, somebody must read although no thread calls, and connect again
/// after a loss: a thread of the connection (ListenerThread), or whoever dispatches (LoopListener).
///
/// It watches the link's socket. A caller that reads switches the socket off (`arm(0)`), so that its traffic does not
/// wake the listener, and switches it on when it leaves.
///
/// Threads: the connection's mutex guards it, and every caller holds it.
class Listener {
 public:
  virtual ~Listener();

  /// Begins to listen; does nothing if it has begun. Raises StartFailed.
  virtual void start() = 0;
  /// Whether it reads what arrives at once, whatever the application does.
  virtual bool readsAtOnce() const noexcept = 0;

  /// Lets it look again at what it has to do.
  virtual void wake() noexcept = 0;
  /// Does so if one of the two has changed since the last time: whether it is needed, and the generation of the link.
  void update(bool isNeeded, std::uint64_t linkGeneration) noexcept;
  /// Sets which events of the socket wake it: EPOLLIN and EPOLLOUT, or 0. Does nothing if it watches no socket.
  virtual void arm(std::uint32_t events) noexcept = 0;
  /// Watches the link's socket no more.
  virtual void forget(const Transport* link) noexcept = 0;
  /// Lets it take the reader's role at once, without an event of the socket, if it waits for the role; false if it does
  /// not.
  virtual bool unpark() noexcept { return false; }
  /// The connection is closed: nothing above has an effect any more.
  virtual void stop() noexcept {}
  /// After `stop`, and with the mutex free: waits until it does nothing any more that uses the connection without
  /// sharing it.
  virtual void awaitOut() noexcept {}

 protected:
  Listener() = default;
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

 private:
  bool wasNeeded_ = false;
  std::uint64_t linkGeneration_ = 0;
};

}  // namespace Quarnix::Bus::Internal
