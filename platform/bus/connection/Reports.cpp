// Logs what a connection has collected.
#include <platform/bus/connection/Reports.h>

#include <new>
#include <utility>

#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>

namespace Quarnix::Bus::Internal {

void Reports::warn(std::string text) { warnings_.push_back(std::move(text)); }

bool Reports::isDropReportDue(bool closed) const noexcept {
  return dropped_ > 0 && (closed || Time::Clock::get().now() >= nextDropReport_);
}

bool Reports::isDue(bool closed) const noexcept { return isLinkLost_ || !warnings_.empty() || isDropReportDue(closed); }

Reports Reports::take(const std::string& lossReason, bool closed) noexcept {
  Reports taken;
  std::swap(taken.warnings_, warnings_);
  taken.isLinkLost_ = std::exchange(isLinkLost_, false);
  if (isDropReportDue(closed)) {
    taken.dropped_ = std::exchange(dropped_, 0);
    nextDropReport_ = Time::Clock::get().now() + Time::Elapsed(1, 0);
  }
  try {
    if (taken.isLinkLost_) taken.warnings_.insert(taken.warnings_.begin(), "Lost the message bus: " + lossReason);
  } catch (const std::bad_alloc&) {
    isLinkLost_ = true;  // next time
  }
  return taken;
}

void Reports::log() const noexcept {
  for (const std::string& warning : warnings_) Log::printQuietly(Log::Priority::WARNING, "%s", warning.c_str());
  if (dropped_ > 0)
    Log::printQuietly(Log::Priority::WARNING,
                      "%u bus messages were dropped: too large, no memory, or a bus that does not read", dropped_);
}

}  // namespace Quarnix::Bus::Internal
