// Lets a command that waits notice SIGINT (an interrupt from the keyboard) and SIGTERM.
#pragma once

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Hevra::Cli {

/// After `begin` these signals no longer end the process; they end a wait of the main thread. Only one object may exist
/// at a time; its destructor restores the signals' default actions.
class Interruption {
 public:
  Interruption();
  ~Interruption();
  Interruption(const Interruption&) = delete;
  Interruption& operator=(const Interruption&) = delete;

  void begin();
  /// Returns the signal that has come; 0 when none has.
  static int getSignal() noexcept;
  /// Waits for a signal, for `wake` or for the deadline, and sometimes returns earlier. Ends the process when the
  /// reader of standard output has gone.
  void wait(const Time::Monotonic& deadline);
  /// Any thread.
  void wake() noexcept;
  /// Ends the process by the signal that has come.
  [[noreturn]] static void obey();
};

}  // namespace Quarnix::Hevra::Cli
