// The calls that wait for a reply: their serials, who may answer them, and how they end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <platform/bus/Counters.h>
#include <platform/bus/connection/CallTable.h>
#include <platform/bus/connection/Transaction.h>
#include <platform/bus/connection/Window.h>
#include <platform/bus/message/method/Call.h>

namespace Quarnix::Bus::Internal {

class ReaderRole;

/// The table of the calls in flight, by serial. A call enters it before it leaves the process, because its reply may
/// arrive before the writer is back. It stays until it is answered, lost or given up.
///
/// A reply counts only from the connection that has the call. That is the connection that owned the service's name when
/// the bus routed the call. The bus tells of a change of owner with a signal, which may lie unread in the socket when
/// the call leaves. So a change that arrives with the first reads after the call may be older than the call: then the
/// old and the new owner may both answer. A later change means that the old owner has the call (`changeOwner`), even if
/// it takes the name again. The in-process bus counts what it has routed, so there it is always known which came first.
///
/// Threads: the connection's mutex guards it, and every caller holds it. `wake` wakes the waiting threads, when the
/// mutex is free.
class Calls {
 public:
  /// How many calls may wait for a reply at the same time.
  static constexpr std::size_t MAXIMUM = 65536;

  /// `last`: the serial behind which the first one comes. Raises std::bad_alloc.
  Calls(ReaderRole& reader, Window& window, Counters& counters, std::uint32_t last = 1)
      : reader_(reader), window_(window), counters_(counters), serial_(last) {}

  bool isInFlight(std::uint32_t serial) const noexcept { return waiting_.contains(serial); }
  bool isFull() const noexcept { return waiting_.size() + window_.waiting() >= MAXIMUM; }
  /// The error for a call that is one too many.
  static Message::Method::Return fullError();
  /// The next serial; never 0, and never that of a call in flight.
  std::uint32_t nextSerial() noexcept;

  /// Raises std::bad_alloc.
  void add(const std::shared_ptr<Transaction>& call);
  /// The call in flight with this serial, if a message from `sender` can be its reply; otherwise null. The bus itself
  /// may answer any call with an error.
  std::shared_ptr<Transaction> find(std::uint32_t serial, std::string_view sender, bool isError) const;
  /// Ends the call with its reply.
  void answer(const std::shared_ptr<Transaction>& call, Message::Method::Return reply);
  /// Ends the call at its deadline. `timeOut` makes the error that its caller gets; `host` is where it went, or null.
  void giveUp(Transaction& call) noexcept;
  static Message::Method::Return timeOut(const Message::Method::Call& call, const Host* host);
  /// Takes the call out of the table, if it is there.
  void remove(const Transaction& call) noexcept;
  /// Ends every call in flight, because the link is lost. OutgoingQueue ends those that have not left.
  void loseAll() noexcept;
  /// Ends a message in this state and wakes its thread at once. An asynchronous call that is UNSENT goes back into the
  /// window instead. It needs no memory, so it serves where the link is lost.
  void end(const std::shared_ptr<Transaction>& transaction, Transaction::State state) noexcept;

  /// The name has this owner now. The calls that left while the name had no owner go to it. If it owned the name
  /// before, only those do that may have left after its return. `moment` is as in `settledAt` of a transaction.
  void setOwner(const Host& host, const std::string& owner, std::uint64_t moment);
  /// The name went from `before` to `now`. Returns true if it matters for some call whether `before` is still on the
  /// bus. Then ask the bus, and give the question this number.
  bool changeOwner(const Host& host, const std::string& before, const std::string& now, std::uint64_t moment,
                   std::uint64_t question);
  /// The answer to the question is yes: ends the calls that wait for it with this error.
  void failThoseAsked(std::uint64_t question, const char* errorName, const std::string& text);
  /// Ends the calls that only `unique`, which has left the bus, can have.
  void failThoseHeldBy(std::string_view unique, const char* errorName, const std::string& text);

  /// Takes the transactions whose threads must wake. Call `wake` when the mutex is free, or each thread would wake only
  /// to wait for the mutex.
  std::shared_ptr<Transaction> takeToWake() noexcept { return std::move(toWake_); }
  static void wake(std::shared_ptr<Transaction> answered) noexcept;

 private:
  template <class Condition, class Use>
  void forEachTaken(const Condition& condition, const Use& use);
  template <class Condition>
  void failThose(const Condition& condition, const char* errorName, const std::string& text);

  ReaderRole& reader_;
  Window& window_;
  Counters& counters_;
  std::uint32_t serial_;
  CallTable waiting_;
  std::shared_ptr<Transaction> toWake_;
};

}  // namespace Quarnix::Bus::Internal
