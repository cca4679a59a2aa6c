// Keeps typed keys from appearing among lines that a program updates in place.
#pragma once

#include <termios.h>

#include <optional>

namespace Quarnix::Hevra::Cli {

/// While it is on, the terminal of standard output does not show typed keys, which would move the cursor. What was
/// typed is kept for the next program that reads. The key that makes a process dump its memory has no effect, because
/// that would leave the terminal quiet; those that interrupt and stop it have.
///
/// Does nothing for a process in the background, and where standard output is no terminal.
class QuietKeyboard {
 public:
  QuietKeyboard() { on(); }
  ~QuietKeyboard() { off(); }
  QuietKeyboard(const QuietKeyboard&) = delete;
  QuietKeyboard& operator=(const QuietKeyboard&) = delete;

  void on() noexcept;
  /// Restores the terminal as `on` has found it.
  void off() noexcept;

 private:
  std::optional<termios> found_;  // empty while it is off
};

}  // namespace Quarnix::Hevra::Cli
