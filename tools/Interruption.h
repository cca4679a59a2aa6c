// Interrupts from the keyboard (SIGINT) and requests to end (SIGTERM), for a command that waits.
#pragma once

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Hevra::Tools {

/// From `begin` to its end these signals do not end the process but a wait of the main thread. One at a time.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  void begin();
  /// The signal that has come, 0 while none has.
  static int getSignal() noexcept;
  /// Returns at a signal, after `wake`, at the deadline, and at times for no reason. Ends the process when the reader
  /// of standard output goes.
  void wait(const Time::Monotonic& deadline);
  /// Any thread.
  void wake() noexcept;
  /// Ends the process as the signal that has come ends one that does not catch it.
  [[noreturn]] static void obey();
};

}  // namespace Quarnix::Hevra::Tools
