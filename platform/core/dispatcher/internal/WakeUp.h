// The descriptors that wake the thread that dispatches a loop.
#pragma once

#include <atomic>
#include <cstdint>

#include <sys/epoll.h>

#include <platform/core/time/Monotonic.h>

namespace Quarnix {

/// An epoll set, which holds a signal, a timer and the sources of the loop. All calls are short: none waits.
///
/// Threads: any; one at a time calls `setTimer`.
class WakeUp {
 public:
  /// Raises std::system_error if there is no descriptor.
  WakeUp();
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  /// That of the set.
  int descriptor() const noexcept { return epoll_; }

  /// Adds, changes or removes a descriptor: `operation` is that of epoll_ctl(2). Returns 0, or the error number.
  int control(int operation, int descriptor, std::uint32_t events, void* source) noexcept;
  /// Takes up to `most` events of sources, and returns how many there are. Takes a signal away.
  int take(epoll_event* events, int most) noexcept;

  /// Makes the set readable until `take`. No system call, if it has been called since.
  void signal() noexcept;
  /// Makes the set readable from this time of the system's steady clock on, and not readable before; never: not at all.
  void setTimer(const Time::Monotonic& deadline) noexcept;

 private:
  void closeAll() noexcept;

  int epoll_ = -1;
  int signal_ = -1;
  int timer_ = -1;
  std::atomic<bool> isSignalled_{false};
};

}  // namespace Quarnix
