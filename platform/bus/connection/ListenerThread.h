// The background thread of a connection, which reads while no caller does.
#pragma once

#include <cstdint>
#include <memory>

#include <platform/bus/connection/Listener.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// The listener's thread sleeps in an epoll set, which holds the socket and a descriptor that wakes the thread. If it
/// finds that a caller reads, it parks until the reader's role is free.
///
///      NO_THREAD ── start ──> RUNNING ── park ───> PARKED
///          ^                   │  ^                  │
///          └────── end ────────┘  └─ unpark, wake ───┘
///
/// Threads: see Listener. Only the listener's thread calls `sleep`, `park` and `pause`, which release the mutex while
/// they wait.
class ListenerThread final : public Listener {
 public:
  /// What the thread runs: it calls `listen` until that returns true, and ends.
  class Body {
   public:
    virtual bool listen(ListenerThread& thread) = 0;
    /// The body, shared until the thread ends.
    virtual std::shared_ptr<Body> share() = 0;

   protected:
    ~Body() = default;
  };

  explicit ListenerThread(Body& body) noexcept : body_(body) {}
  ~ListenerThread() override;

  void start() override;
  bool readsAtOnce() const noexcept override { return state_ != State::NO_THREAD; }
  void wake() noexcept override;
  void arm(std::uint32_t events) noexcept override;
  void forget(const Transport* link) noexcept override;
  bool unpark() noexcept override;

  /// The thread is about to leave `listen` for good.
  void end() noexcept;
  /// Waits for these events of the link's socket. Returns false when something else has woken the thread.
  bool sleep(Mutex& mutex, const Transport& link, std::uint32_t events) HEVRA_REQUIRES(mutex);
  /// Waits until the reader's role may be free.
  void park(Mutex& mutex) HEVRA_REQUIRES(mutex);
  /// Waits until `until` or until something changes; returns false at `until`.
  bool pause(Mutex& mutex, const Time::Monotonic& until) HEVRA_REQUIRES(mutex);

 private:
  enum class State : std::uint8_t { NO_THREAD, RUNNING, PARKED };
  struct Start;

  static void* runThread(void* start);
  void open();

  Body& body_;
  State state_ = State::NO_THREAD;
  int epoll_ = -1;
  int wakeDescriptor_ = -1;
  const Transport* watched_ = nullptr;  // the link whose socket is in the set
  std::uint32_t armed_ = 0;             // the events that wake the thread
  ConditionVariable changed_;
};

}  // namespace Quarnix::Bus::Internal
