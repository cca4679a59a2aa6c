// Writing a line so that lines of several threads and processes do not mix. Internal.
#pragma once

#include <cerrno>
#include <string_view>

#include <unistd.h>

namespace Quarnix::Log {

/// In one write; more only when the first was cut short. What cannot be written is lost.
inline void writeWhole(int descriptor, std::string_view text) noexcept {
  while (!text.empty()) {
    const ssize_t written = ::write(descriptor, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace Quarnix::Log
