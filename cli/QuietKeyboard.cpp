// Changes the terminal's settings.
#include <cli/QuietKeyboard.h>

#include <unistd.h>

namespace Quarnix::Hevra::Cli {

void QuietKeyboard::on() noexcept {
  termios settings{};
  // The system stops a process in the background that changes the settings.
  if (found_ || ::tcgetpgrp(STDOUT_FILENO) != ::getpgrp() || ::tcgetattr(STDOUT_FILENO, &settings) != 0) return;
  found_ = settings;
  settings.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
  settings.c_cc[VQUIT] = _POSIX_VDISABLE;
  ::tcsetattr(STDOUT_FILENO, TCSADRAIN, &settings);
}

void QuietKeyboard::off() noexcept {
  if (found_ && ::tcgetpgrp(STDOUT_FILENO) == ::getpgrp()) ::tcsetattr(STDOUT_FILENO, TCSADRAIN, &*found_);
  found_.reset();
}

}  // namespace Quarnix::Hevra::Cli
