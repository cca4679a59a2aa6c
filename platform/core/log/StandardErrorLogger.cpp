// The logger that a process starts with: lines to standard error. It keeps no state and takes no lock.
#include <platform/core/log/Logger.h>

#include <cerrno>
#include <string>
#include <string_view>

#include <unistd.h>

namespace Quarnix::Log {

StandardErrorLogger::~StandardErrorLogger() = default;

void StandardErrorLogger::write(Priority priority, const char* line) {
  if (priority == Priority::SILENT) return;
  const bool known = priority >= Priority::EMERGENCY && priority <= Priority::DEBUG;
  const auto digit = static_cast<char>('0' + static_cast<int>(known ? priority : Priority::INFO));

  std::string text{'<', digit, '>'};
  for (const char c : std::string_view(line)) text += c == '\n' ? ' ' : c;
  text += '\n';

  // One write for the line, so that lines of several threads do not mix; more only when the first was cut short.
  std::string_view rest = text;
  while (!rest.empty()) {
    const ssize_t written = ::write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return;
    rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

}  // namespace Quarnix::Log
