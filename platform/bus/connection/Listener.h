// The background thread of a connection, and the set of descriptors in which it sleeps.
#pragma once

#include <cstdint>
#include <memory>

#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// While objects are started, somebody must read although nobody calls. The listener's thread sleeps in an epoll set
/// that holds the socket and a descriptor that wakes it. A caller that reads switches the socket off in the set
/// (`arm(0)`), so that its traffic does not wake the listener, and on again when it leaves. When the listener finds a
/// caller reading, it parks until the reader's role is free.
///
/// Threads: the connection's mutex guards it, and is held by every caller. `sleep`, `park` and `pause` are the
/// listener's thread's own and release the mutex meanwhile.
class Listener {
 public:
  /// What the thread runs. It ends when `listen` returns true; otherwise `listen` is called again.
  class Body {
   public:
    virtual bool listen() = 0;

   protected:
    ~Body() = default;
  };

  Listener() = default;
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// Makes the thread, which shares the body until it ends. Raises StartFailed. Does nothing while there is one.
  void start(std::shared_ptr<Body> body);
  /// The thread is about to leave `listen` for good.
  void end() noexcept;
  bool isRunning() const noexcept { return isRunning_; }

  /// Wakes the thread if one of the two is not what it was told the last time: whether it is needed, and the
  /// generation of the link.
  void update(bool isNeeded, std::uint64_t linkGeneration) noexcept;
  /// Sets which events of the socket wake the thread: EPOLLIN and EPOLLOUT, or 0.
  void arm(std::uint32_t events) noexcept;
  /// Takes the link's socket out of the set.
  void forget(const Transport* link) noexcept;
  /// Wakes the thread if it is parked; false when it is not.
  bool unpark() noexcept;

  /// Waits for these events of the link's socket. False when something else woke it.
  bool sleep(Mutex& mutex, const Transport& link, std::uint32_t events) HEVRA_REQUIRES(mutex);
  /// Waits until the reader's role may be free.
  void park(Mutex& mutex) HEVRA_REQUIRES(mutex);
  /// Waits until `until` or until something changes; false at `until`.
  bool pause(Mutex& mutex, const Time::Monotonic& until) HEVRA_REQUIRES(mutex);

 private:
  static void* runThread(void* body);
  void open();

  bool isRunning_ = false;
  bool isParked_ = false;
  bool wasNeeded_ = false;
  std::uint64_t linkGeneration_ = 0;
  int epoll_ = -1;
  int wakeDescriptor_ = -1;
  const Transport* watched_ = nullptr;  // whose socket is in the set
  std::uint32_t armed_ = 0;
  ConditionVariable changed_;
};

}  // namespace Quarnix::Bus::Internal
