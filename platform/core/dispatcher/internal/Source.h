// A descriptor that a loop watches.
#pragma once

#include <cstdint>

#include <platform/core/dispatcher/internal/Loop.h>

namespace Quarnix {

/// Derive from it to hear of the events of a descriptor. It is level-triggered: `ready` runs in each `dispatch` while
/// there is an event that it is armed for.
///
/// Threads: any, but one at a time calls the operations. `ready` runs on the dispatching thread.
/// Ownership: keeps a reference to the loop while it is open. The descriptor is yours.
/// Destroying: close it first, before you close the descriptor.
class Loop::Source {
 public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  /// Begins to watch for `events` (EPOLLIN and so on), or for errors and hang-ups only with 0. Returns 0, or the error
  /// number: ENOMEM, ENOSPC, EBADF, EPERM if the descriptor cannot be watched, EEXIST if another source of this loop
  /// watches it, ESRCH in a forked child. The source must be closed.
  int open(Loop& loop, int descriptor, std::uint32_t events) noexcept;
  /// Changes the events: one system call, or none if they are the same. Does nothing if the source is closed.
  void arm(std::uint32_t events) noexcept;
  /// Ends the watch and does not wait: a run of `ready` that is under way is the last. Does nothing if the source is
  /// closed. Loop::awaitOut waits for that run.
  void remove() noexcept;
  /// Ends the watch: `ready` does not run when it returns, and will not. On the dispatching thread it does not wait: a
  /// run that is under way is the last. Elsewhere it waits for that run, so do not hold a mutex that `ready` takes.
  /// Does nothing if the source is closed.
  void close() noexcept;
  bool isOpen() const noexcept { return loop_; }

 protected:
  ~Source() = default;
  /// Runs within `dispatch`, with no mutex held. `events` are those that it is armed for, and EPOLLERR and EPOLLHUP. It
  /// may close and destroy the source.
  virtual void ready(std::uint32_t events) noexcept = 0;

 private:
  friend class Loop;
  Loop* loop_ = nullptr;  // null while it is closed
  int descriptor_ = -1;
  std::uint64_t key_ = 0;
  std::uint32_t armed_ = 0;
};

}  // namespace Quarnix
