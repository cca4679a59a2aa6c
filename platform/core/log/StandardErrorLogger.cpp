// The logger that a process starts with: escaped lines to standard error, and no more than the limit lets through.
#include <platform/core/log/Logger.h>

#include <cstdio>
#include <exception>
#include <optional>
#include <string_view>

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/log/internal/Character.h>
#include <platform/core/log/internal/Limit.h>
#include <platform/core/log/internal/WriteWhole.h>
#include <platform/core/time/Clock.h>
#include <platform/core/timer/Monotonic.h>

namespace Quarnix::Log {

namespace {

/// One line as it is written, in memory of its own: logging needs none.
class Line {
 public:
  Line(Priority priority, std::string_view text) noexcept {
    const bool known = priority >= Priority::EMERGENCY && priority <= Priority::DEBUG;
    const auto digit = static_cast<char>('0' + static_cast<int>(known ? priority : Priority::INFO));
    append({"<", 1});
    append({&digit, 1});
    append({">", 1});
    std::size_t uncut = size_;  // how much of it would leave room for the mark
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

/// Standard error, of which a process has one, whoever logs there.
class StandardError : private Timer::Monotonic {
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
    MutexLock lock(mutex_);
    const bool isTaken = line && limit_.takeLine(line->getText().size(), now);
    if (!line) limit_.suppress();
    const bool isFirst = !isTaken && limit_.getSuppressed() == 1;
    const Time::Monotonic nextSecond = limit_.getNextSecond();
    lock.unlock();
    if (isTaken) writeWhole(STDERR_FILENO, line->getText());
    if (isFirst) tellAt(nextSecond);
  }

 private:
  friend union NeverDestroyed<StandardError>;
  StandardError() : Timer::Monotonic({}, false), limit_(Time::Clock::get().now()) {}

  bool isClosed(const Time::Monotonic& now) {
    MutexLock lock(mutex_);
    return limit_.isClosed(now);
  }
  void tellSuppressed(const Time::Monotonic& now) {
    MutexLock lock(mutex_);
    const auto count = static_cast<unsigned long long>(limit_.takeSuppressed(now));
    lock.unlock();
    if (count == 0) return;
    char text[Limit::NOTE_BYTES];
    std::snprintf(text, sizeof text, "libCore> %llu log %s suppressed, because too much was logged", count,
                  count == 1 ? "line was" : "lines were");
    writeWhole(STDERR_FILENO, Line(Priority::WARNING, text).getText());
  }

  void tellAt(const Time::Monotonic& time) noexcept {
    try {
      setTime(time, false);
      start();
    } catch (const std::exception&) {
      // The next line that is written tells it.
    }
  }
  void expired(const Time::Monotonic&) override {
    tellSuppressed(Time::Clock::get().now());
    MutexLock lock(mutex_);
    // Other threads may have told it, and have logged too much again.
    const bool isLeft = limit_.getSuppressed() > 0;
    const Time::Monotonic nextSecond = limit_.getNextSecond();
    lock.unlock();
    if (isLeft) tellAt(nextSecond);
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
