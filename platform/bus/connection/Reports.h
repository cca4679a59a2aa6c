// Collects what a connection has to log.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// A logger is the application's code and may use the connection, so it must run while the mutex is free. Until then
/// the reports wait here. They are few, because the mutex is never held for long.
///
/// Threads: the connection's mutex guards it, and every caller holds it. Call `log` on a taken copy, with the mutex
/// free.
class Reports {
 public:
  /// Raises std::bad_alloc.
  void warn(std::string text);
  /// Notes that the link is lost. The reason comes with `take`, because noting a loss must not need memory.
  void noteLoss() noexcept { isLinkLost_ = true; }
  /// Counts a message that was dropped, here and in the counter of its reason.
  void countDropped(std::uint64_t& reason) noexcept {
    ++dropped_;
    ++reason;
  }

  /// Whether something must be logged now. Dropped messages are logged once a second at most, and when the connection
  /// is `closed`.
  bool isDue(bool closed) const noexcept;
  /// Takes what must be logged now. `lossReason`: why the link was lost the last time.
  Reports take(const std::string& lossReason, bool closed) noexcept;
  void log() const noexcept;

 private:
  bool isDropReportDue(bool closed) const noexcept;

  bool isLinkLost_ = false;
  unsigned dropped_ = 0;  // messages
  Time::Monotonic nextDropReport_;
  std::vector<std::string> warnings_;
};

}  // namespace Quarnix::Bus::Internal
