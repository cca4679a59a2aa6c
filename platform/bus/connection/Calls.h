// The calls in flight: their serials, who may answer them, and how they end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

#include <platform/bus/connection/Transaction.h>

namespace Quarnix::Bus::Internal {

class ReaderRole;

/// The table of the calls that wait for a reply, by serial. A call enters it before it leaves the process, because its
/// reply may arrive before the writer is back, and stays until it is answered, lost or given up.
///
/// A reply counts only from the connection that has the call. Which one that is depends on who owned the service's name
/// when the bus routed the call, and the bus tells of a change of owner with a signal that may lie unread in the socket
/// when the call leaves. So a change that arrives with the first reads after the call may be older than the call: then
/// the old and the new owner may both answer. A later change tells that the old owner has the call (`changeOwner`).
///
/// Threads: the connection's mutex guards it, and is held by every caller. Waiting threads are woken by `wake`, when
/// the mutex is free.
class Calls {
 public:
  /// How many calls may wait for a reply at once.
  static constexpr std::size_t MAXIMUM = 65536;

  /// Serials count on from `last`.
  explicit Calls(ReaderRole& reader, std::uint32_t last = 1) noexcept : reader_(reader), serial_(last) {}

  bool isInFlight(std::uint32_t serial) const noexcept { return waiting_.count(serial) > 0; }
  bool isFull() const noexcept { return waiting_.size() >= MAXIMUM; }
  /// Never 0, and never one that a call in flight has.
  std::uint32_t nextSerial() noexcept;

  /// Raises std::bad_alloc.
  void add(const std::shared_ptr<Transaction>& call);
  /// The call in flight with this serial, if a message of `sender` can be its reply; otherwise null. The bus itself may
  /// answer every call with an error.
  std::shared_ptr<Transaction> find(std::uint32_t serial, std::string_view sender, bool isError) const;
  /// Ends the call with its reply.
  void answer(const std::shared_ptr<Transaction>& call, Message::Method::Return reply);
  /// Ends the call at its deadline.
  void giveUp(Transaction& call) noexcept;
  /// Ends every call in flight: the link is lost. The writer and the queue decide about those that have not left.
  void loseAll() noexcept;
  /// Ends a message, and wakes its thread at once: for what ends with the link, where no memory may be needed.
  void end(Transaction& transaction, Transaction::State state) noexcept;

  /// A call that left while the name had no owner belongs to the first owner that the bus announces after it.
  void setOwner(const Host& host, const std::string& owner);
  /// The name went from `before` to `now`; `reads` counts the reads that have begun. True when some call's fate depends
  /// on whether `before` is still on the bus.
  bool changeOwner(const Host& host, const std::string& before, const std::string& now, std::uint64_t reads);
  /// Ends with this error the calls that nobody but `unique` can have; of one host only unless it is null.
  void failThoseHeldBy(std::string_view unique, const Host* host, const char* errorName, const std::string& text);

  /// Takes the transactions whose threads are to be woken. `wake` is for a moment when the mutex is free, or a thread
  /// would wake only to wait for the mutex.
  std::shared_ptr<Transaction> takeToWake() noexcept { return std::move(toWake_); }
  static void wake(std::shared_ptr<Transaction> answered) noexcept;

 private:
  ReaderRole& reader_;
  std::uint32_t serial_;
  std::unordered_map<std::uint32_t, std::shared_ptr<Transaction>> waiting_;
  std::shared_ptr<Transaction> toWake_;
};

}  // namespace Quarnix::Bus::Internal
