// The role of reading the link: who has it, and what its holder does.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <platform/bus/connection/Transaction.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// Waiting for a reply needs no thread beside the caller's: one thread at a time has the reader's role, polls the
/// socket and reads it for everybody. A caller that finds the role free takes it until its own reply is there. The
/// other callers wait on their condition variables, and one of them is woken to take the role when its holder leaves.
/// While objects are started, the listener takes the role whenever no caller has it.
///
/// The holder also waits for the link to take what is queued. It is woken through a descriptor when its own call ends
/// otherwise than by a read, or when something is queued that the link did not take.
///
/// Threads: the connection's mutex guards it, and is held by every caller. `waitAndRead` and `read` release it
/// meanwhile; only the holder calls them.
class ReaderRole {
 public:
  enum class Outcome { READ, BROKEN, TIMED_OUT };
  struct Turn {
    Outcome outcome;
    bool mayWrite;  // the link may take more now
  };

  ReaderRole() = default;
  ~ReaderRole();
  ReaderRole(const ReaderRole&) = delete;
  ReaderRole& operator=(const ReaderRole&) = delete;

  /// Makes the descriptor that wakes the holder. False, with errno set, when there is none to be had.
  bool prepare() noexcept;

  bool isFree() const noexcept { return !isTaken_; }
  void take() noexcept { isTaken_ = true; }
  void release() noexcept { isTaken_ = false; }

  /// Waits until the link is readable, or writable if something is `unsent`, or `awaited` is over, and reads what is
  /// there into `arrived`. BROKEN: the link is, and `takeReason` says why.
  Turn waitAndRead(Mutex& mutex, Transport& link, const Transaction& awaited, bool unsent,
                   const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex);
  /// Reads what is there now.
  Outcome read(Mutex& mutex, Transport& link) HEVRA_REQUIRES(mutex);
  std::vector<Received>& arrived() noexcept { return arrived_; }
  /// Why the link is broken. Taken, because a link that is lost for want of memory must need none.
  std::string takeReason() noexcept { return std::move(reason_); }
  /// How many reads have begun. What lies in the socket when a call leaves may need the read that is under way and the
  /// next one to come out.
  std::uint64_t reads() const noexcept { return reads_; }

  /// Wakes the holder if it waits for this transaction.
  void wakeIfFor(const Transaction& transaction) noexcept;
  /// Wakes the holder if it does not yet wait for the link to take more.
  void wakeToWrite() noexcept;

  /// Waits, without the role, until the transaction is over or the role may be free. False at the deadline.
  bool wait(Mutex& mutex, Transaction& transaction, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex);
  /// Wakes one of the threads in `wait` to take the role. False when there is none.
  bool passToWaiter() noexcept;

 private:
  Outcome readUnlocked(Transport& link) noexcept;
  void wake() noexcept;

  bool isTaken_ = false;
  const Transaction* polledFor_ = nullptr;  // what the holder waits for while it polls
  bool pollsToWrite_ = false;
  int wakeDescriptor_ = -1;
  std::uint64_t reads_ = 1;
  Transaction* waiters_ = nullptr;
  std::vector<Received> arrived_;  // the holder's
  std::string reason_;             // the holder's
};

}  // namespace Quarnix::Bus::Internal
