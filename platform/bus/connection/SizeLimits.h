// How large a message from the bus may be.
#pragma once

#include <cstddef>
#include <string>

#include <platform/bus/connection/Admission.h>
#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/Reports.h>
#include <platform/bus/connection/Transport.h>
#include <platform/core/Mutex.h>

namespace Quarnix::Bus::Internal {

/// There are two limits: one for replies to the calls in flight, and one for everything else. Who may answer a call is
/// not known while a message is read, because the change of the name's owner may stand before it; so any message that
/// names a call in flight counts as its reply. A monitor takes messages of any size.
///
/// Threads: the connection's mutex guards it. The link's reader calls the operations of Admission, with the mutex free;
/// for all others the caller holds the mutex.
class SizeLimits : public Admission {
 public:
  SizeLimits(Mutex& mutex, const Calls& calls, Reports& reports, Counters& counters) noexcept
      : mutex_(mutex), calls_(calls), reports_(reports), counters_(counters) {}

  std::size_t largest(const Message::Header& header) override HEVRA_EXCLUDES(mutex_);
  void countDropped() noexcept override HEVRA_EXCLUDES(mutex_);

  /// Sets both limits, in bytes with the message's header.
  void set(std::size_t call, std::size_t reply) noexcept;
  void setMonitor(bool isMonitor) noexcept { isMonitor_ = isMonitor; }
  /// Whether the bus shows this connection what goes between others.
  bool isMonitor() const noexcept { return isMonitor_; }

  /// The limit for the message with this header.
  std::size_t of(const Message::Header& header) const noexcept;
  /// The text of the error for a message that was discarded.
  std::string describeDiscarded(const Received& message) const;

 private:
  Mutex& mutex_;
  const Calls& calls_;
  Reports& reports_;
  Counters& counters_;
  std::size_t largestCall_ = Message::LARGEST_CALL;
  std::size_t largestReply_ = Message::LARGEST_REPLY;
  bool isMonitor_ = false;
};

}  // namespace Quarnix::Bus::Internal
