// The link to the bus: it comes up, is lost, and comes up again.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <platform/bus/connection/Opening.h>
#include <platform/bus/connection/Transport.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

struct Transaction;

/// The link comes up at the first use, and after every loss at the next use.
///
///      DOWN ──── connect ────> CONNECTING ────> UP
///       ^                          │            │
///       └────────── failed ────────┘            │
///       └─────────────────── lost ──────────────┘
///      every state ── closed ──> CLOSED
///
/// One thread at a time connects, with the mutex released; the others wait for it, each up to its own deadline. If the
/// attempt fails, those that waited from its beginning fail too. A thread that came later makes its own attempt,
/// because the bus may have come back meanwhile. A dispatcher goes on with its attempt step by step (`step`). In
/// between nobody works on the attempt, and a thread that calls takes it over. The listener pauses between its
/// attempts, longer each time.
///
/// Threads: the connection's mutex guards it, and every caller holds it. `connect` and `step` release it meanwhile.
class Link {
 public:
  /// The pauses between the listener's attempts grow from the first to the last, with jitter.
  static constexpr Time::Elapsed FIRST_PAUSE{0, 50'000'000};
  static constexpr Time::Elapsed LAST_PAUSE{5, 0};

  /// What the link asks of the connection.
  class User {
   public:
    /// An attempt begins. Returns messages that may leave together with the greeting: what the bus has to know of this
    /// connection, and `first`, the message of the thread that connects, if there is one. Raises std::bad_alloc.
    virtual std::string packFlight(const std::shared_ptr<Transaction>& first) = 0;
    /// Begins to open a transport, with the mutex free. Raises std::bad_alloc.
    virtual std::unique_ptr<Opening> openLink(std::string flight) = 0;
    /// The link is up. Tells the bus what it has to know, unless the flight did. Raises std::bad_alloc.
    virtual void linkUp() = 0;
    /// The attempt has failed. Nothing of the flight has been dealt with, unless the bus was only too slow to greet. It
    /// must not need memory.
    virtual void linkFailed() noexcept = 0;
    /// The link was lost. It must not need memory.
    virtual void linkLost() noexcept = 0;

   protected:
    ~User() = default;
  };

  explicit Link(User& user) noexcept : user_(user) {}

  bool isUp() const noexcept { return state_ == State::UP; }
  bool isClosed() const noexcept { return state_ == State::CLOSED; }
  /// Null unless the link is up.
  const std::shared_ptr<Transport>& transport() const noexcept { return transport_; }
  /// Whether a thread has to read. The in-process bus pushes its messages.
  bool isReadable() const noexcept { return transport_ && transport_->descriptor() >= 0; }
  /// A number that grows with every loss and with every new link.
  std::uint64_t generation() const noexcept { return generation_; }
  /// The name that the bus has given to this connection; empty unless the link is up.
  const std::string& uniqueName() const noexcept { return uniqueName_; }
  /// Why the link is down.
  const std::string& lossReason() const noexcept { return lossReason_; }
  /// The error for a call that was lost with the link.
  Message::Method::Return lossError() const;

  /// Brings the link up, or returns what has prevented it up to `deadline`. `first`: see User::packFlight.
  std::optional<Message::Method::Return> connect(Mutex& mutex, const Time::Monotonic& deadline,
                                                 const std::shared_ptr<Transaction>& first) HEVRA_REQUIRES(mutex);
  /// What one step has come to. If the link is not up then, it waits for `interest`, or has failed; with neither, a
  /// thread connects.
  struct Progress {
    std::optional<Opening::Interest> interest = {};
    std::optional<Message::Method::Return> failure = {};
  };
  /// Goes on to bring the link up, without waiting.
  Progress step(Mutex& mutex) HEVRA_REQUIRES(mutex);
  /// Breaks the link if it is up.
  void lose(std::string reason) noexcept;
  /// Breaks the link for good.
  void close() noexcept;
  /// When the listener makes its next attempt after a failed one.
  Time::Monotonic nextAttempt() noexcept;

 private:
  enum class State : std::uint8_t { DOWN, CONNECTING, UP, CLOSED };

  template <class Work>
  Progress attempt(Mutex& mutex, const std::shared_ptr<Transaction>& first, const Work& work) HEVRA_REQUIRES(mutex);
  bool adopt(std::shared_ptr<Transport> transport);
  void breakLink(State state, std::string reason) noexcept;

  User& user_;
  State state_ = State::DOWN;
  std::unique_ptr<Opening> opening_;  // while it is CONNECTING and nobody works on it
  std::shared_ptr<Transport> transport_;
  std::string uniqueName_;
  std::string lossReason_ = "it was not reached yet";
  std::uint64_t generation_ = 0;
  std::uint64_t attempts_ = 0;
  std::optional<Message::Method::Return> lastFailure_;
  Time::Elapsed pause_ = FIRST_PAUSE;
  ConditionVariable changed_;
};

}  // namespace Quarnix::Bus::Internal
