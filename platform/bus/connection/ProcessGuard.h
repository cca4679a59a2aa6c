// Keeps a forked child away from a connection of its parent.
#pragma once

#include <platform/bus/Error.h>
#include <platform/core/internal/Fork.h>

namespace Quarnix::Bus::Internal {

/// Remembers the process in which it is made. In a forked child the socket is the parent's, so nothing may be written
/// to it and it must not be shut down. A thread of the parent may hold the connection's mutex for ever there, so you
/// ask the guard before you lock the mutex.
///
/// Threads: any.
class ProcessGuard {
 public:
  bool isSameProcess() const noexcept { return forkCount() == forks_; }
  /// Raises UnusableMessage in a forked child.
  void requireSameProcess() const {
    if (!isSameProcess())
      throw UnusableMessage("The connection was opened before this process was forked: expected one of its own");
  }

 private:
  const unsigned forks_ = forkCount();
};

}  // namespace Quarnix::Bus::Internal
