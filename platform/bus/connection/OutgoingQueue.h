// The messages that wait to be written, and the role of writing them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>

#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>

namespace Quarnix::Bus::Internal {

/// Messages leave in the order in which they were queued, several in one system call. One thread at a time has the
/// writer's role; a thread that queues meanwhile leaves its message to that one. The link may take a part of a message:
/// then the rest of it leaves first, whatever becomes of its transaction.
///
/// While the writer is in the transport the link may be lost, and the queue with it. The writer alone knows how much
/// had left, so it decides about the messages it had in hand (LOST or UNSENT), and `loseAll` about the others.
///
/// Threads: the connection's mutex guards it, and is held by every caller. `write` releases it meanwhile.
class OutgoingQueue {
 public:
  /// How many bytes of the connection's own answers may wait for a bus that does not read; beyond it they are dropped.
  static constexpr std::size_t MAXIMUM_UNSENT_ANSWERS = std::size_t{16} << 20;
  enum class Result { EMPTY, BLOCKED, BROKEN };

  explicit OutgoingQueue(Calls& calls) noexcept : calls_(calls) {}

  void push(Message::Frame frame, std::shared_ptr<Transaction> transaction);
  /// Queues an answer that nobody waits for. False when too many of them wait.
  bool pushAnswer(Message::Frame frame);
  /// Whether there is something to write and nobody who writes it.
  bool isWaiting() const noexcept { return !messages_.empty() && !isWriting_; }

  /// Writes to the link, which may be another one after each message, until nothing is queued, the link takes no more,
  /// or it is broken.
  Result write(Mutex& mutex, const std::shared_ptr<Transport>& link, const ReaderRole& reader) HEVRA_REQUIRES(mutex);

  /// Takes a message out whose transaction is given up. One that is leaving stays, because its rest must follow; if the
  /// writer turns out to have written nothing of it, the writer takes it out.
  void giveUp(const Transaction& transaction) noexcept;
  /// The link is lost: ends what was queued for it.
  void loseAll() noexcept;

 private:
  static constexpr std::size_t BATCH = 8;
  struct Entry {
    Message::Frame frame;
    std::shared_ptr<Transaction> transaction;  // null for an answer
  };

  void dropGivenUp(std::size_t count) noexcept;
  void settle(Transaction& transaction, bool begun, bool whole, bool isLost, std::uint64_t settledAt) noexcept;

  Calls& calls_;
  std::deque<Entry> messages_;
  std::size_t written_ = 0;        // bytes of the first message
  std::size_t unsentAnswers_ = 0;  // bytes
  std::uint64_t losses_ = 0;
  bool isWriting_ = false;
};

}  // namespace Quarnix::Bus::Internal
