// Chooses the limit for a message.
#include <platform/bus/connection/SizeLimits.h>

#include <platform/bus/message/Limits.h>

namespace Quarnix::Bus::Internal {

std::size_t SizeLimits::largest(const Message::Header& header) {
  MutexLock lock(mutex_);
  return of(header);
}

void SizeLimits::countDropped() noexcept {
  MutexLock lock(mutex_);
  reports_.countDropped(counters_.droppedTooLarge);
}

void SizeLimits::set(std::size_t call, std::size_t reply) noexcept {
  largestCall_ = call;
  largestReply_ = reply;
}

std::size_t SizeLimits::of(const Message::Header& header) const noexcept {
  if (isMonitor_) return Message::MAXIMUM_MESSAGE_SIZE;
  return header.replySerial && calls_.isInFlight(header.replySerial) ? largestReply_ : largestCall_;
}

std::string SizeLimits::describeDiscarded(const Received& message) const {
  const std::size_t limit = of(message.header);
  return "A message of " + std::to_string(message.discarded) + " bytes was discarded: " +
         (message.discarded > limit ? "expected at most " + std::to_string(limit) : "no memory for it");
}

}  // namespace Quarnix::Bus::Internal
