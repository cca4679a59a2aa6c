// The background thread of a connection, which reads while no caller does.
#pragma once

#include <cstdint>
#include <memory>

#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// While objects are started, somebody must read although nobody calls. The listener's thread sleeps in an epoll set,
/// which holds the socket and a descriptor that wakes the thread. A caller that reads switches the socket off in the
/// set (`arm(0)`), so that its traffic does not wake the listener, and switches it on when it leaves. If the listener
/// finds that a caller reads, it parks until the reader's role is free.
///
///      NO_THREAD ── start ──> RUNNING ── park ───> PARKED
///          ^                   │  ^                  │
///          └────── end ────────┘  └─ unpark, update ─┘
///
/// Threads: the connection's mutex guards it, and every caller holds it. Only the listener's thread calls `sleep`,
/// `park` and `pause`, which release the mutex while they wait.
class Listener {
 public:
  /// What the thread runs: it calls `listen` until that returns true, and ends.
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

  /// Makes the thread, unless there is one. The thread shares the body until it ends. Raises StartFailed.
  void start(std::shared_ptr<Body> body);
  /// The thread is about to leave `listen` for good.
  void end() noexcept;
  bool isRunning() const noexcept { return state_ != State::NO_THREAD; }

  /// Wakes the thread if one of the two has changed since the last time: whether the thread is needed, and the
  /// generation of the link.
  void update(bool isNeeded, std::uint64_t linkGeneration) noexcept;
  /// Wakes the thread in any case.
  void wake() noexcept;
  /// Sets which events of the socket wake the thread: EPOLLIN and EPOLLOUT, or 0.
  void arm(std::uint32_t events) noexcept;
  /// Takes the link's socket out of the set.
  void forget(const Transport* link) noexcept;
  /// Wakes the thread if it is parked; returns false if it is not.
  bool unpark() noexcept;

  /// Waits for these events of the link's socket. Returns false when something else has woken the thread.
  bool sleep(Mutex& mutex, const Transport& link, std::uint32_t events) HEVRA_REQUIRES(mutex);
  /// Waits until the reader's role may be free.
  void park(Mutex& mutex) HEVRA_REQUIRES(mutex);
  /// Waits until `until` or until something changes; returns false at `until`.
  bool pause(Mutex& mutex, const Time::Monotonic& until) HEVRA_REQUIRES(mutex);

 private:
  enum class State : std::uint8_t { NO_THREAD, RUNNING, PARKED };

  static void* runThread(void* body);
  void open();

  State state_ = State::NO_THREAD;
  bool wasNeeded_ = false;
  std::uint64_t linkGeneration_ = 0;
  int epoll_ = -1;
  int wakeDescriptor_ = -1;
  const Transport* watched_ = nullptr;  // the link whose socket is in the set
  std::uint32_t armed_ = 0;             // the events that wake the thread
  ConditionVariable changed_;
};

}  // namespace Quarnix::Bus::Internal
