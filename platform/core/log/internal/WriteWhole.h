// Writes a line so that lines of several threads and processes do not mix.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>
#include <string_view>

#include <unistd.h>

namespace Quarnix::Log {

/// Writes the text with one write, and with more only when the first was cut short. Returns the rest that could not be
/// written, with `errno` set: EPIPE when the reader has gone. It never raises SIGPIPE.
inline std::string_view writeWhole(int descriptor, std::string_view text) noexcept {
  sigset_t pipe, before;
  sigemptyset(&pipe);
  sigaddset(&pipe, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &pipe, &before);
  int error = 0;
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    error = errno;
    if (written < 0 && error == EINTR) continue;
    if (written <= 0) break;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  // The signal is pending for this thread as long as it is blocked.
  constexpr timespec AT_ONCE{0, 0};
  if (!text.empty() && error == EPIPE && !sigismember(&before, SIGPIPE)) sigtimedwait(&pipe, nullptr, &AT_ONCE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return text;
}

}  // namespace Quarnix::Log
