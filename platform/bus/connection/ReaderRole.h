// The role of reading the link, which one thread at a time has.
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

/// To wait for a reply you need no second thread: the thread that has the reader's role polls the socket and reads it
/// for everybody. A caller that finds the role free takes it until its own reply is there. The other callers wait on
/// their condition variables; when the holder leaves, one of them is woken to take the role. While objects are started,
/// the listener takes the role whenever no caller has it.
///
///      FREE ── take ──> TAKEN ── waitAndRead ──> POLLING or POLLING_TO_WRITE
///       ^                │  ^                              │
///       └── release ─────┘  └──────── has read ────────────┘
///
/// POLLING_TO_WRITE: the holder also waits until the link takes more of what is queued. A descriptor wakes a polling
/// holder when its own call ends without a read, or when something is queued that the link did not take.
///
/// Threads: the connection's mutex guards it, and every caller holds it. Only the holder calls `waitAndRead` and
/// `read`, which release the mutex while they wait and read.
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

  /// Makes the descriptor that wakes the holder. Returns false, with errno set, if the system has none.
  bool prepare() noexcept;

  bool isFree() const noexcept { return state_ == State::FREE; }
  void take() noexcept { state_ = State::TAKEN; }
  void release() noexcept { state_ = State::FREE; }

  /// Waits until the link is readable, or writable if something is `unsent`, or until `awaited` is over. Then reads
  /// what is there into `arrived`. BROKEN: the link is broken, and `takeReason` says why.
  Turn waitAndRead(Mutex& mutex, Transport& link, const Transaction& awaited, bool unsent,
                   const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex);
  /// Reads what is there now.
  Outcome read(Mutex& mutex, Transport& link) HEVRA_REQUIRES(mutex);
  std::vector<Received>& arrived() noexcept { return arrived_; }
  /// Why the link is broken. The text is moved out, because losing a link must need no memory.
  std::string takeReason() noexcept { return std::move(reason_); }
  /// How many reads have begun. The read under way when a call leaves, and the one after it, may still bring what was
  /// in the socket before.
  std::uint64_t reads() const noexcept { return reads_; }

  /// Wakes the holder if it waits for this transaction.
  void wakeIfFor(const Transaction& transaction) noexcept;
  /// Wakes the holder if it polls but does not wait for the link to take more.
  void wakeToWrite() noexcept;

  /// Waits, without the role, until the transaction is over or the role may be free. Returns false at the deadline.
  bool wait(Mutex& mutex, Transaction& transaction, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex);
  /// Wakes one of the threads in `wait`, so that it takes the role. Returns false if there is none.
  bool passToWaiter() noexcept;

 private:
  enum class State : std::uint8_t { FREE, TAKEN, POLLING, POLLING_TO_WRITE };

  Outcome readUnlocked(Transport& link) noexcept;
  void wake() noexcept;

  State state_ = State::FREE;
  const Transaction* polledFor_ = nullptr;  // the holder's, while it polls
  int wakeDescriptor_ = -1;
  std::uint64_t reads_ = 1;
  Transaction* waiters_ = nullptr;  // the list of those that are in `wait`
  std::vector<Received> arrived_;   // the holder's
  std::string reason_;              // the holder's
};

}  // namespace Quarnix::Bus::Internal
