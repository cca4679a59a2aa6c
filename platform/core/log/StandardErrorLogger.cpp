// The logger that a process starts with: lines to standard error. It keeps no state and takes no lock.
#include <platform/core/log/Logger.h>

#include <string>
#include <string_view>

#include <platform/core/log/WriteWhole.h>

namespace Quarnix::Log {

StandardErrorLogger::~StandardErrorLogger() = default;

void StandardErrorLogger::write(Priority priority, const char* line) {
  if (priority == Priority::SILENT) return;
  const bool known = priority >= Priority::EMERGENCY && priority <= Priority::DEBUG;
  const auto digit = static_cast<char>('0' + static_cast<int>(known ? priority : Priority::INFO));

  std::string text{'<', digit, '>'};
  for (const char c : std::string_view(line)) text += c == '\n' ? ' ' : c;
  text += '\n';

  writeWhole(STDERR_FILENO, text);
}

}  // namespace Quarnix::Log
