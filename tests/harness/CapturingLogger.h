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
  CapturingLogger();
  ~CapturingLogger();
  CapturingLogger(const CapturingLogger&) = delete;
  CapturingLogger& operator=(const CapturingLogger&) = delete;

  std::vector<std::string> get() const { return logger_->lines.all(); }
  /// Those since the last `take`.
  std::vector<std::string> take() { return logger_->lines.take(); }
  /// Until a line contains `text`; false at the deadline.
  bool waitFor(const std::string& text);
  std::size_t count(const std::string& text = {}) const;

 private:
  struct Keeper : Log::Logger {
    ~Keeper() override;
    void write(Log::Priority priority, const char* line) override;
    Recorder<std::string> lines;
  };
  const Shared::Pointer<Log::Logger> former_;
  const Shared::Pointer<Keeper> logger_;
};

}  // namespace Quarnix::Harness
