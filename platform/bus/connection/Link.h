// The link to the bus: whether it is up, who brings it up, and how it ends.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <platform/bus/connection/Transport.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// The link comes up at the first use and after every loss at the next one.
///
///      DOWN ──── connect ────> CONNECTING ────> UP
///       ^                          │            │
///       └────────── failed ────────┘            │
///       └─────────────────── lost ──────────────┘
///      every state ── closed ──> CLOSED
///
/// One thread at a time connects, with the mutex released; the others wait for it, each up to its own deadline. A
/// failed attempt fails those that waited for it from its beginning. A thread that came during it makes an attempt of
/// its own, because the bus may have come back meanwhile. The listener pauses between its attempts, longer each time.
///
/// Threads: the connection's mutex guards it, and is held by every caller. `connect` releases it meanwhile.
class Link {
 public:
  /// The pauses between the listener's attempts: growing from the first to the last, with jitter.
  static constexpr Time::Elapsed FIRST_PAUSE{0, 50'000'000};
  static constexpr Time::Elapsed LAST_PAUSE{5, 0};

  class User {
   public:
    /// Opens a transport, with the mutex free. Throws an error reply.
    virtual std::shared_ptr<Transport> openLink(const Time::Monotonic& deadline) = 0;
    /// The link is up: tells the bus what it has to know of this connection. Raises std::bad_alloc.
    virtual void linkUp() = 0;
    /// The link was lost; nothing of it may need memory.
    virtual void linkLost() noexcept = 0;

   protected:
    ~User() = default;
  };

  explicit Link(User& user) noexcept : user_(user) {}

  bool isUp() const noexcept { return state_ == State::UP; }
  bool isClosed() const noexcept { return state_ == State::CLOSED; }
  /// Null unless the link is up.
  const std::shared_ptr<Transport>& transport() const noexcept { return transport_; }
  /// Whether a thread has to read: what the in-process bus delivers is pushed.
  bool isReadable() const noexcept { return transport_ && transport_->descriptor() >= 0; }
  /// A number that every loss and every new link makes greater.
  std::uint64_t generation() const noexcept { return generation_; }
  /// The name that the bus has given to this connection; empty unless the link is up.
  const std::string& uniqueName() const noexcept { return uniqueName_; }
  /// Why the link is down.
  const std::string& lossReason() const noexcept { return lossReason_; }
  /// What a call that was lost with the link ends with.
  Message::Method::Return lossError() const;

  /// Returns when the link is up, otherwise what prevented it until `deadline`.
  std::optional<Message::Method::Return> connect(Mutex& mutex, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex);
  /// Breaks the link that is up. Does nothing without one.
  void lose(std::string reason) noexcept;
  /// Breaks the link for good.
  void close() noexcept;
  /// When the listener's next attempt after a failed one is due.
  Time::Monotonic nextAttempt() noexcept;

 private:
  enum class State : std::uint8_t { DOWN, CONNECTING, UP, CLOSED };

  bool adopt(std::shared_ptr<Transport> transport);
  void breakLink(State state, std::string reason) noexcept;

  User& user_;
  State state_ = State::DOWN;
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
