// A message of this connection on its way, from the queue to its reply.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/message/method/Return.h>
#include <platform/core/Mutex.h>

namespace Quarnix::Bus::Internal {

struct Host;

/// Receives the reply to a call that the connection itself has made, with the connection's mutex held.
using ReplyHandler = std::function<void(const Message::Method::Return&)>;

/// A message that is sent and, if it is a call, the wait for its reply. The waiting thread and the connection share it,
/// so that it lives as long as one of them uses it. The connection's mutex guards it.
///
///                 written     whole         reply
///      QUEUED ───────────> LEAVING ────> SENT ────> ANSWERED     A reply may overtake the writer: LEAVING ─> ANSWERED.
///        │ ^                 │  │         │                      A writer that wrote nothing of a message puts it
///        │ └── nothing left ─┘  │         │                      back: LEAVING ─> QUEUED.
///        │ link lost            │ link lost
///        v                      v         v
///      UNSENT                  LOST      LOST                    UNSENT may leave on the next link. LOST may have
///                                                                arrived.
///                                                                LEAVING becomes UNSENT if nothing of it has left.
///      QUEUED, LEAVING or SENT ── deadline ──> GIVEN_UP          The rest of a message that is leaving still leaves.
///
/// A message that expects no reply is over when it is SENT.
struct Transaction {
  enum class State : std::uint8_t { QUEUED, LEAVING, SENT, ANSWERED, UNSENT, LOST, GIVEN_UP };

  std::uint32_t serial = 0;
  State state = State::QUEUED;
  bool replyExpected = false;
  bool hasWaiter = false;           // a thread waits on `changed`
  Host* host = nullptr;             // the reply of its owner counts; null if `owner` is fixed
  std::string owner;                // the unique name that the call went to; empty if not known yet
  std::vector<std::string> former;  // earlier owners of the name, which may have the call instead
  std::uint64_t settledAt = 0;      // the moment from which nothing older than the call arrives; 0: not known yet
  std::uint64_t question = 0;       // Owners' question whether a former owner, who has the call, is still on the bus
  std::optional<Message::Method::Return> reply;
  ReplyHandler handler;  // of a call that the connection itself has made; no thread waits for it
  ConditionVariable changed;
  Transaction* nextWaiter = nullptr;        // in ReaderRole's list
  std::shared_ptr<Transaction> nextToWake;  // in the list of Calls

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
  /// Whether the connection `unique` has lost the name and may have got the call before.
  bool isFormerOwner(std::string_view unique) const noexcept {
    return std::find(former.begin(), former.end(), unique) != former.end();
  }
};

}  // namespace Quarnix::Bus::Internal
