// Keeping log lines.
#include <tests/harness/CapturingLogger.h>

#include <algorithm>

namespace Quarnix::Harness {

CapturingLogger::Keeper::~Keeper() = default;

void CapturingLogger::Keeper::write(Log::Priority priority, const char* line) {
  lines.add(std::to_string(static_cast<int>(priority)) + " " + line);
}

CapturingLogger::CapturingLogger() : former_(Log::Logger::get()), logger_(Shared::make<Keeper>()) {
  Log::Logger::set(logger_);
}

CapturingLogger::~CapturingLogger() { Log::Logger::set(former_); }

bool CapturingLogger::waitFor(const std::string& text) {
  return logger_->lines.awaitAny([&text](const std::string& line) { return line.find(text) != std::string::npos; });
}

std::size_t CapturingLogger::count(const std::string& text) const {
  const std::vector<std::string> lines = get();
  return static_cast<std::size_t>(std::count_if(
      lines.begin(), lines.end(), [&text](const std::string& line) { return line.find(text) != std::string::npos; }));
}

}  // namespace Quarnix::Harness
