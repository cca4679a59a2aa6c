// What a connection has to log.
#pragma once

#include <string>
#include <vector>

#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

/// A logger is the application's code and may use the connection, so it runs when the mutex is free. Until then the
/// reports wait here; they are few, because the mutex is never held for long.
///
/// Threads: the connection's mutex guards what it collects. `log` is for a taken copy, with the mutex free.
class Reports {
 public:
  /// Raises std::bad_alloc.
  void warn(std::string text);
  /// The link is lost. The reason is asked for when it is logged, because noting a loss may need no memory.
  void noteLoss() noexcept { isLinkLost_ = true; }
  /// A message that was given up.
  void countDropped() noexcept { ++dropped_; }

  /// Whether something is to be logged now. Dropped messages are, at most once a second, unless the connection is
  /// `closed`.
  bool isDue(bool closed) const noexcept;
  /// Takes what is due. `lossReason`: why the link was lost the last time.
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
