// What waits for a bus object's task. Applications use Object::Base instead.
#pragma once

#include <cstddef>
#include <memory>

#include <platform/bus/Receiver.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Internal {

/// Messages and the ends of asynchronous calls, in the order of their arrival. Messages have limits; the ends of calls
/// have none, because the connection limits the calls.
///
/// Threads: the object's mutex guards it, and every caller holds it.
class HEVRA_EXPORT DeliveryQueue {
 public:
  DeliveryQueue(std::size_t messages, std::size_t bytes) noexcept : largestMessages_(messages), largestBytes_(bytes) {}
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;
  ~DeliveryQueue();

  void setLimits(std::size_t messages, std::size_t bytes) noexcept;
  /// Receiver::enqueue describes it.
  Receiver::Queued offer(std::unique_ptr<Delivery> message, bool droppable) noexcept;
  void append(std::unique_ptr<Delivery> delivery) noexcept;
  /// The first delivery, or null.
  std::unique_ptr<Delivery> take() noexcept;

 private:
  HEVRA_INTERNAL void dropOldestMessage() noexcept;

  std::unique_ptr<Delivery> first_;
  Delivery* last_ = nullptr;
  std::size_t messages_ = 0;
  std::size_t bytes_ = 0;  // of the messages
  std::size_t largestMessages_;
  std::size_t largestBytes_;
};

}  // namespace Quarnix::Bus::Internal
