// Which calls may be on the bus at the same time, and which wait behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <platform/bus/connection/Transaction.h>

namespace Quarnix::Bus::Internal {

/// A bus daemon refuses a connection's calls when too many of them wait for replies; dbus-daemon's usual limit is 128.
/// So at most `size` calls are on the bus, and the others wait here, in the order in which they were made. A call that
/// was to leave on a link that is lost comes back to its place in this order.
///
/// A call that was given up has no place any more, although the bus may still count it until its service replies.
///
/// Threads: the connection's mutex guards it, and every caller holds it. Nothing here needs memory.
class Window {
 public:
  static constexpr std::size_t DEFAULT_SIZE = 100;

  void setSize(std::size_t size) noexcept { size_ = size; }
  /// Whether a call may leave at once: there is room, and none waits that was made before.
  bool isOpen() const noexcept { return !first_ && used_ < size_; }
  bool isEmpty() const noexcept { return !first_; }
  std::size_t waiting() const noexcept { return waiting_; }
  std::size_t used() const noexcept { return used_; }

  /// The number of the next call, in the order in which they are made.
  std::uint64_t nextTurn() noexcept { return ++turns_; }
  /// Lets the call wait for its turn.
  void wait(std::shared_ptr<Transaction> call) noexcept;
  /// Takes out the first call, if there is room for it; otherwise returns null.
  std::shared_ptr<Transaction> takeNext() noexcept;
  /// Takes out the first call in any case; null if there is none.
  std::shared_ptr<Transaction> takeFirst() noexcept;
  /// Takes out the first call for which a thread waits; null if there is none.
  std::shared_ptr<Transaction> takeFirstOfThread() noexcept;
  /// Takes out a call that does not wait for its turn any more.
  void remove(const Transaction& call) noexcept;

  /// A call has gone to the bus; a call on the bus is over.
  void enter() noexcept { ++used_; }
  void leave() noexcept { --used_; }

 private:
  template <class Wanted>
  std::shared_ptr<Transaction> takeFirst(const Wanted& isWanted) noexcept;

  std::shared_ptr<Transaction> first_;
  Transaction* last_ = nullptr;
  std::size_t size_ = DEFAULT_SIZE;
  std::size_t used_ = 0;
  std::size_t waiting_ = 0;
  std::uint64_t turns_ = 0;
};

}  // namespace Quarnix::Bus::Internal
