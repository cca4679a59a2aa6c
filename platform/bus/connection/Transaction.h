// A message of this connection on its way, from the queue to its reply.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/Result.h>
#include <platform/bus/message/method/Call.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

struct Host;

/// A message to send, and where it goes.
struct Request {
  Message::Base& message;
  const Message::Method::Call* call = nullptr;  // the message, if it is a call
  std::string_view path = {};                   // for a message that names none
  Host* host = nullptr;                         // null for a message that names its own destination
  bool reconnects = true;                       // false: it leaves on this link or not at all
  Time::Monotonic begun = {};                   // when an application made the call
};

/// A message that is sent and, if it is a call, the wait for its reply. The waiting thread and the connection share it,
/// so that it lives as long as one of them uses it. The connection's mutex guards it.
///
///                 its turn        written     whole         reply
///      WAITING ─────────> QUEUED ─────────> LEAVING ────> SENT ────> ANSWERED
///        │ ^                │ ^                 │  │        │
///        │ │                │ └── nothing left ─┘  │        │        A reply may overtake the writer: LEAVING ─>
///        │ └─ link lost, ───┤                      │        │        ANSWERED.
///        │    asynchronous  │ link lost            │ link lost
///        v                  v                      v        v
///      UNSENT             UNSENT                  LOST     LOST      UNSENT may leave on the next link. LOST may have
///                                                                    arrived. LEAVING is as QUEUED if nothing of it
///                                                                    has left.
///      WAITING, QUEUED, LEAVING or SENT ── deadline ──> GIVEN_UP     The rest of a message that is leaving still
///      leaves. WAITING ── its turn, but it cannot be sealed ──> UNSENDABLE   `error` says why.
///
/// A message that expects no reply is over when it is SENT.
struct Transaction : CallOutcome {
  enum class State : std::uint8_t { WAITING, QUEUED, LEAVING, SENT, ANSWERED, UNSENT, LOST, GIVEN_UP, UNSENDABLE };

  explicit Transaction(const Request& what);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  virtual ~Transaction() = default;

  /// Runs when the transaction is over and no thread waits for it, with the connection's mutex held. It raises
  /// std::bad_alloc at most, and that only if it is ANSWERED.
  virtual void over() {}
  /// Whether it waits for the next link if it is unsent, because no thread does so.
  virtual bool waitsForLink() const noexcept { return false; }

  bool isOver() const noexcept { return state > State::SENT || (state == State::SENT && !replyExpected); }
  /// Whether what arrives at this moment is surely newer than the call. Moments are counted in reads of a socket, and
  /// on the in-process bus in the messages of this connection that the bus has routed.
  bool isOlderThan(std::uint64_t moment) const noexcept { return settledAt != 0 && moment >= settledAt; }
  /// Whether a message from the connection `unique` can be the reply.
  bool mayBeAnsweredBy(std::string_view unique) const noexcept { return owner == unique || isFormerOwner(unique); }
  /// Whether only the connection `unique` can have the call.
  bool isHeldBy(std::string_view unique) const noexcept {
    return owner == unique || (owner.empty() && isFormerOwner(unique));
  }

  const Request request;  // of what refers to it, use only `host` once it is sealed
  const bool replyExpected;
  const bool isInWindow;  // it is a call of an application, and not to the bus itself (see Window)
  State state = State::WAITING;
  bool hasWaiter = false;  // a thread waits on `changed`
  std::uint32_t serial = 0;
  std::uint64_t turn = 0;           // its place in the order in which calls were made; 0 before
  std::string owner;                // the unique name that the call went to; empty if not known yet
  std::vector<std::string> former;  // earlier owners of the name, which may have the call instead
  std::uint64_t settledAt = 0;      // the moment from which nothing older than the call arrives; 0: not known yet
  std::uint64_t question = 0;       // Owners' question whether a former owner, who has the call, is still on the bus
  ConditionVariable changed;
  Transaction* nextWaiter = nullptr;          // in ReaderRole's list
  std::shared_ptr<Transaction> nextInTable;   // in CallTable
  std::shared_ptr<Transaction> nextToWake;    // in the list of Calls
  std::shared_ptr<Transaction> nextInWindow;  // in the list of Window

  /// Whether the connection `unique` has lost the name and may have got the call before.
  bool isFormerOwner(std::string_view unique) const noexcept {
    return std::find(former.begin(), former.end(), unique) != former.end();
  }
};

}  // namespace Quarnix::Bus::Internal
