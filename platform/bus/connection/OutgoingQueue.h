// The messages that wait to be written, and the role of the writer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>

namespace Quarnix::Bus::Internal {

/// Messages leave in the order in which they were queued, several in one system call. One thread at a time writes; a
/// thread that queues a message meanwhile leaves it to the writer. If the link takes only a part of a message, the rest
/// leaves before anything else, whatever becomes of its transaction.
///
/// The link may be lost while the writer is in the transport, and then the queue is emptied. Only the writer knows how
/// much had left, so it decides about the messages that it had in hand (LOST or UNSENT). `loseAll` decides about the
/// others.
///
/// Threads: the connection's mutex guards it, and every caller holds it. `write` releases it while it writes.
class OutgoingQueue {
 public:
  /// How many bytes of the connection's own answers may wait for a bus that does not read. Any more are dropped.
  static constexpr std::size_t MAXIMUM_UNSENT_ANSWERS = std::size_t{16} << 20;
  enum class Result { EMPTY, BLOCKED, BROKEN };

  /// Raises std::bad_alloc.
  explicit OutgoingQueue(Calls& calls);

  void push(Message::Frame frame, std::shared_ptr<Transaction> transaction);
  /// Queues an answer, for which no thread waits. Returns false when too many of them wait.
  bool pushAnswer(Message::Frame frame);
  /// Whether something is queued and nobody writes it.
  bool isWaiting() const noexcept { return !messages_.empty() && !isWriting_; }
  /// Whether the link may take it: it has not been BLOCKED since it last was writable.
  bool isReady() const noexcept { return isWaiting() && !isBlocked_; }
  /// The link is writable.
  void unblock() noexcept { isBlocked_ = false; }
  /// How many messages are queued.
  std::size_t size() const noexcept { return messages_.size(); }
  /// How many bytes the links have taken so far.
  std::uint64_t bytesSent() const noexcept { return bytesSent_; }

  /// Writes until nothing is queued (EMPTY), the link takes no more (BLOCKED), or it is broken (BROKEN). `link` is
  /// looked at before each write, because the connection may have another one by then.
  Result write(Mutex& mutex, const std::shared_ptr<Transport>& link, const ReaderRole& reader) HEVRA_REQUIRES(mutex);

  /// Takes whole messages, at most `most` bytes, from an idle queue: the flight, which leaves together with the
  /// greeting of a link that is opened. `land` or `loseAll` ends it. Raises std::bad_alloc, and has taken nothing then.
  std::string takeFlight(std::size_t most);
  /// The link that has the flight is up. `settledAt` is for its transactions.
  void land(std::uint64_t settledAt) noexcept;
  /// Whether nothing is queued and nobody writes.
  bool isIdle() const noexcept { return messages_.empty() && frames_.empty(); }

  /// Takes out a message whose transaction is given up. A message that is leaving stays, because its rest must follow.
  /// If the link turns out to have taken nothing of it, the writer takes it out.
  void giveUp(const Transaction& transaction) noexcept;
  /// Ends what was queued for the link that is lost.
  void loseAll() noexcept;

 private:
  static constexpr std::size_t BATCH = 32;
  struct Entry {
    Message::Frame frame;
    std::shared_ptr<Transaction> transaction;  // null for an answer
  };

  void takeInHand(const Transport& link) noexcept;
  std::size_t putBack(std::size_t left, std::uint64_t settledAt) noexcept;
  void endInHand(std::size_t left) noexcept;
  void settle(const std::shared_ptr<Transaction>& transaction, bool begun, bool whole, bool isLost) noexcept;

  Calls& calls_;
  std::deque<Entry> messages_;
  // What the writer has in hand. Its messages are still in the queue, as empty entries at the front, unless the link
  // was lost. They have room for a batch, so that they need no memory.
  std::vector<Message::Frame> frames_;
  std::vector<std::shared_ptr<Transaction>> transactions_;
  std::size_t written_ = 0;        // bytes of the first message that have left
  std::size_t unsentAnswers_ = 0;  // bytes
  std::uint64_t bytesSent_ = 0;
  std::uint64_t losses_ = 0;
  bool isWriting_ = false;
  bool isBlocked_ = false;
  bool isFlying_ = false;  // what is in hand is a flight
};

}  // namespace Quarnix::Bus::Internal
