// The process's logger for the time of a test.
#pragma once

#include <string>
#include <vector>

#include <platform/core/log/Logger.h>
#include <tests/harness/Waiting.h>

namespace Quarnix::Harness {

/// Installs itself for its life, and keeps the lines as "<priority> <text>", such as "4 Lost the message bus".
class CapturingLogger {
 public:
  CapturingLogger() { Log::Logger::set(logger_); }
  ~CapturingLogger() { Log::Logger::set(former_); }
  CapturingLogger(const CapturingLogger&) = delete;
  CapturingLogger& operator=(const CapturingLogger&) = delete;

  std::vector<std::string> get() const { return logger_->lines.all(); }
  /// Those since the last `take`.
  std::vector<std::string> take() { return logger_->lines.take(); }
  std::size_t count() const { return logger_->lines.count(); }
  /// Until a line contains `text`; false at the deadline.
  bool waitFor(const std::string& text) {
    return logger_->lines.awaitAny([&text](const std::string& line) { return line.find(text) != line.npos; });
  }

 private:
  struct Keeper : Log::Logger {
    void write(Log::Priority priority, const char* line) override {
      lines.add(std::to_string(static_cast<int>(priority)) + " " + line);
    }
    Recorder<std::string> lines;
  };
  const Shared::Pointer<Log::Logger> former_ = Log::Logger::get();
  const Shared::Pointer<Keeper> logger_ = Shared::make<Keeper>();
};

}  // namespace Quarnix::Harness
