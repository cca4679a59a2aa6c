// A call for whose reply no thread waits: its end goes to a handler.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <memory>
#include <string_view>

#include <platform/bus/Receiver.h>
#include <platform/bus/Result.h>
#include <platform/bus/connection/AsyncCalls.h>
#include <platform/bus/connection/Transaction.h>

namespace Quarnix::Bus::Internal {

class Exchange;

/// Comes before the transaction, which refers to it.
struct OwnedMessage {
  Message::Method::Call message;
};

/// It owns its message and its handler. When it is over, it goes into the queue of its caller, on whose task the
/// handler runs. Whoever moves it out of PENDING or ENDED has the handler.
///
///      PENDING ── over ──> ENDED ── its task ──> HEARD
///         └───── given up ───┴────────────────> GIVEN_UP
///
/// Threads: `hear` on the caller's task; `giveUp` and `isPending` on any; the rest belongs to the connection.
/// Ownership: the connection shares it until it is over, then the caller's queue does; handles and results share it
/// always.
class AsyncCall final : private OwnedMessage, public Transaction, public std::enable_shared_from_this<AsyncCall> {
 public:
  /// `path` stays valid until the call is over; `host` as in Request.
  AsyncCall(Message::Method::Call&& message, std::string_view path, Host* host, Caller& caller, ReplyHandler&& handler);
  ~AsyncCall() override;

  const Message::Method::Call& message() const noexcept { return OwnedMessage::message; }
  const Caller& caller() const noexcept { return caller_; }

  /// Ends the call before a connection has it: with a reply, or with an error, which its result raises.
  void end(Message::Method::Return with) noexcept;
  void fail(std::exception_ptr with) noexcept;
  /// Calls the handler, unless the call was given up. What leaves the handler leaves this.
  void hear();
  /// Takes the call out of its connection, and releases the handler.
  void giveUp() noexcept;
  bool isPending() const noexcept { return life_ <= Life::ENDED; }

  // For the connection, with its mutex held: the call enters its table, and leaves it, which does nothing the second
  // time.
  void enter(const std::shared_ptr<Exchange>& connection, AsyncCalls& calls, const Time::Monotonic& deadline);
  void leave() noexcept;
  /// Moves the call to GIVEN_UP and returns the handler; returns none if it was heard or given up before. Destroy it
  /// with no mutex held.
  ReplyHandler takeHandler() noexcept;

 private:
  enum class Life : std::uint8_t { PENDING, ENDED, HEARD, GIVEN_UP };

  void over() noexcept override;
  bool waitsForLink() const noexcept override { return life_ == Life::PENDING; }

  Caller& caller_;
  ReplyHandler handler_;
  std::unique_ptr<Delivery> delivery_ = std::make_unique<Delivery>();  // so that the end needs no memory
  std::atomic<Life> life_{Life::PENDING};
  std::weak_ptr<Exchange> connection_;
  AsyncCalls* calls_ = nullptr;  // the connection's mutex guards it
  AsyncCalls::Place place_;
};

}  // namespace Quarnix::Bus::Internal
