// Limits how much is logged.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Log {

/// Counts the lines and bytes that may be written; each second brings some more. Once a line is too much, none may be
/// written until the next second begins.
///
/// Threads: one at a time.
class Limit {
 public:
  static constexpr std::size_t BURST_LINES = 1000, LINES_A_SECOND = 100;
  static constexpr std::size_t BURST_BYTES = 160 << 10, BYTES_A_SECOND = 14 << 10;
  static constexpr std::size_t NOTE_BYTES = 128;  // the most that the line about the suppressed ones has

  explicit Limit(const Time::Monotonic& now) noexcept : second_(now) {}

  /// Whether every line is suppressed for now.
  bool isClosed(const Time::Monotonic& now) noexcept {
    refill(now);
    return isClosed_;
  }
  /// Whether a line of so many bytes may be written. Counts one that may not.
  bool takeLine(std::size_t bytes, const Time::Monotonic& now) noexcept {
    if (!isClosed(now) && lines_ > 0 && bytes <= bytes_) {
      --lines_;
      bytes_ -= bytes;
      return true;
    }
    isClosed_ = true;
    suppress();
    return false;
  }
  void suppress() noexcept { ++suppressed_; }
  /// Once lines may be written again, returns how many were suppressed, and begins to count anew; 0 before. The line
  /// that tells the number costs bytes only.
  std::uint64_t takeSuppressed(const Time::Monotonic& now) noexcept {
    if (isClosed(now) || suppressed_ == 0) return 0;
    bytes_ -= std::min(bytes_, NOTE_BYTES);
    return std::exchange(suppressed_, 0);
  }
  /// How many are still to be told.
  std::uint64_t getSuppressed() const noexcept { return suppressed_; }
  /// When the next second begins.
  Time::Monotonic getNextSecond() const noexcept { return second_ + Time::Elapsed(1, 0); }

 private:
  void refill(const Time::Monotonic& now) noexcept {
    // A thread may come late with its time. A time far back is that of another clock.
    if (now + Time::Elapsed(60, 0) < second_) second_ = now;
    const std::int64_t seconds = (now - second_).getSeconds();
    if (seconds <= 0) return;
    second_ = second_ + Time::Elapsed(seconds, 0);
    const auto brought = static_cast<std::size_t>(std::min<std::int64_t>(seconds, BURST_LINES));
    lines_ = std::min(BURST_LINES, lines_ + brought * LINES_A_SECOND);
    bytes_ = std::min(BURST_BYTES, bytes_ + brought * BYTES_A_SECOND);
    isClosed_ = false;
  }

  Time::Monotonic second_;  // when the present second began
  std::size_t lines_ = BURST_LINES;
  std::size_t bytes_ = BURST_BYTES;
  bool isClosed_ = false;
  std::uint64_t suppressed_ = 0;
};

}  // namespace Quarnix::Log
