// The descriptors that wake the thread that dispatches a loop.
#pragma once

#include <atomic>
#include <cstdint>

#include <sys/epoll.h>

#include <platform/core/time/Monotonic.h>

namespace Quarnix {

/// An epoll set that contains a signal, a timer and the descriptors of the loop's sources.
///
/// Threads: any; one at a time calls `take` or `await`, and one at a time `setTimer`.
class WakeUp {
 public:
  /// Raises std::system_error if there is no descriptor.
  WakeUp();
  ~WakeUp();
  WakeUp(const WakeUp&) = delete;
  WakeUp& operator=(const WakeUp&) = delete;

  /// That of the set.
  int descriptor() const noexcept { return set_; }

  /// The greatest key of a source.
  static constexpr std::uint64_t LAST_KEY = UINT64_MAX - 2;

  /// Adds, changes or removes the descriptor of a source, as epoll_ctl(2) does. Returns 0, or the error number. `key`
  /// comes back with the source's events.
  int control(int operation, int descriptor, std::uint32_t events, std::uint64_t key) noexcept;
  /// Takes up to `most` events of sources, and a signal; returns how many events there are. A signal that comes at the
  /// same time may be taken with the former one: look only afterwards for what was signalled. It does not wait.
  int take(epoll_event* events, int most) noexcept { return takeWithin(0, events, most); }
  /// Does the same, but waits until the set is readable or the process gets a signal.
  int await(epoll_event* events, int most) noexcept { return takeWithin(-1, events, most); }

  /// Makes the set readable until it is taken. No system call if it was signalled already.
  void signal() noexcept;
  /// Makes the set readable from `deadline` of the steady clock on, and not before; never: not at all.
  void setTimer(const Time::Monotonic& deadline) noexcept;

 private:
  static constexpr std::uint64_t SIGNAL = LAST_KEY + 1;
  static constexpr std::uint64_t TIMER = LAST_KEY + 2;

  int takeWithin(int milliseconds, epoll_event* events, int most) noexcept;
  void close() noexcept;

  int set_ = -1;
  int signal_ = -1;
  int timer_ = -1;
  std::atomic<bool> isSignalled_{false};
};

}  // namespace Quarnix
