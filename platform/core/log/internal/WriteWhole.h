// Writing a line so that lines of several threads and processes do not mix. Internal.
#pragma once

#include <cerrno>
#include <csignal>
#include <ctime>
#include <string_view>

#include <unistd.h>

namespace Quarnix::Log {

/// In one write; more only when the first was cut short. Returns what could not be written, with errno; a reader that
/// has gone is EPIPE, and SIGPIPE is not raised.
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
  // The signal is this thread's, and pending as long as it is blocked.
  constexpr timespec AT_ONCE{0, 0};
  if (!text.empty() && error == EPIPE && !sigismember(&before, SIGPIPE)) sigtimedwait(&pipe, nullptr, &AT_ONCE);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  errno = error;
  return text;
}

}  // namespace Quarnix::Log
