// Writes escaped lines to standard error, as many as the limit lets through.
#include <platform/core/log/Logger.h>

#include <cstdio>
#include <optional>
#include <string_view>

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/log/internal/Character.h>
#include <platform/core/log/internal/Limit.h>
#include <platform/core/log/internal/WriteWhole.h>
#include <platform/core/time/Clock.h>
#include <platform/core/timer/internal/ThreadQueue.h>

namespace Quarnix::Log {

namespace {

/// One line as it is written. It has the memory that it needs within itself.
class Line {
 public:
  Line(Priority priority, std::string_view text) noexcept {
    const bool known = priority >= Priority::EMERGENCY && priority <= Priority::DEBUG;
    const auto digit = static_cast<char>('0' + static_cast<int>(known ? priority : Priority::INFO));
    append({"<", 1});
    append({&digit, 1});
    append({">", 1});
    std::size_t uncut = size_;  // the most of the text that leaves room for the mark
    bool isCut = false;
    escape(text, [&](std::string_view piece) {
      if (size_ + piece.size() + END.size() > sizeof bytes_) return !(isCut = true);
      append(piece);
      if (size_ + CUT.size() + END.size() <= sizeof bytes_) uncut = size_;
      return true;
    });
    if (isCut) {
      size_ = uncut;
      append(CUT);
    }
    append(END);
  }

  std::string_view getText() const noexcept { return {bytes_, size_}; }

 private:
  static constexpr std::string_view CUT = "... (cut)", END = "\n";

  void append(std::string_view piece) noexcept { size_ += piece.copy(bytes_ + size_, piece.size()); }

  char bytes_[StandardErrorLogger::LONGEST];
  std::size_t size_ = 0;
};

/// Standard error, which the process has once, whatever the number of its loggers.
class StandardError final : private Timer::QueueEntry {
 public:
  static StandardError& get() {
    static NeverDestroyed<StandardError> instance;
    return instance.object;
  }

  void write(Priority priority, const char* text) {
    const Time::Monotonic now = Time::Clock::get().now();
    tellSuppressed(now);
    // While every line is suppressed, none is made.
    const std::optional<Line> line = isClosed(now) ? std::nullopt : std::make_optional<Line>(priority, text);
    bool isTaken = false;
    {
      MutexLock lock(mutex_);
      isTaken = line && limit_.takeLine(line->getText().size(), now);
      if (!line) limit_.suppress();
      if (!isTaken && limit_.getSuppressed() == 1) tellAt(limit_.getNextSecond());
    }
    if (isTaken) writeWhole(STDERR_FILENO, line->getText());
  }

 private:
  friend union NeverDestroyed<StandardError>;
  StandardError() : Timer::QueueEntry({}, false), limit_(Time::Clock::get().now()) {}

  bool isClosed(const Time::Monotonic& now) {
    MutexLock lock(mutex_);
    return limit_.isClosed(now);
  }
  unsigned long long takeSuppressed(const Time::Monotonic& now) {
    MutexLock lock(mutex_);
    return limit_.takeSuppressed(now);
  }
  void tellSuppressed(const Time::Monotonic& now) {
    const unsigned long long count = takeSuppressed(now);
    if (count == 0) return;
    char text[Limit::NOTE_BYTES];
    std::snprintf(text, sizeof text, "libCore> %llu log %s suppressed, because too much was logged", count,
                  count == 1 ? "line was" : "lines were");
    writeWhole(STDERR_FILENO, Line(Priority::WARNING, text).getText());
  }

  /// If it cannot be started, the next line that is written tells it.
  void tellAt(const Time::Monotonic& time) noexcept {
    Timer::ThreadQueue::get().setTime(*this, time, false);
    Timer::ThreadQueue::get().start(*this);
  }
  void deadlineReached(const Time::Monotonic&) noexcept override {
    tellSuppressed(Time::Clock::get().now());
    MutexLock lock(mutex_);
    // Other threads may have told it, and have logged too much again.
    if (limit_.getSuppressed() > 0) tellAt(limit_.getNextSecond());
  }

  Mutex mutex_;
  Limit limit_ HEVRA_GUARDED_BY(mutex_);
};

}  // namespace

StandardErrorLogger::~StandardErrorLogger() = default;

void StandardErrorLogger::write(Priority priority, const char* line) {
  if (priority != Priority::SILENT) StandardError::get().write(priority, line);
}

}  // namespace Quarnix::Log
