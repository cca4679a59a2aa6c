// Queues deliveries and keeps the limits.
#include <platform/bus/DeliveryQueue.h>

#include <utility>

namespace Quarnix::Bus::Internal {

DeliveryQueue::~DeliveryQueue() {
  // One by one, because the chain of owners would recurse once for each delivery.
  while (take()) {
  }
}

void DeliveryQueue::setLimits(std::size_t messages, std::size_t bytes) noexcept {
  largestMessages_ = messages;
  largestBytes_ = bytes;
}

Receiver::Queued DeliveryQueue::offer(std::unique_ptr<Delivery> message, bool droppable) noexcept {
  const std::size_t size = message->frame.size();
  const bool fits = size <= largestBytes_ && largestMessages_ > 0;
  std::size_t dropped = 0;
  while (!fits || messages_ >= largestMessages_ || bytes_ + size > largestBytes_) {
    if (!droppable) return {false, 0};
    ++dropped;
    if (!fits) return {true, dropped};
    dropOldestMessage();
  }
  append(std::move(message));
  return {true, dropped};
}

void DeliveryQueue::append(std::unique_ptr<Delivery> delivery) noexcept {
  if (!delivery->call) {
    ++messages_;
    bytes_ += delivery->frame.size();
  }
  Delivery* const added = delivery.get();
  (last_ ? last_->next : first_) = std::move(delivery);
  last_ = added;
}

std::unique_ptr<Delivery> DeliveryQueue::take() noexcept {
  std::unique_ptr<Delivery> taken = std::move(first_);
  if (!taken) return taken;
  first_ = std::move(taken->next);
  if (!first_) last_ = nullptr;
  if (!taken->call) {
    --messages_;
    bytes_ -= taken->frame.size();
  }
  return taken;
}

void DeliveryQueue::dropOldestMessage() noexcept {
  Delivery* before = nullptr;
  Delivery* oldest = first_.get();
  while (oldest->call) before = std::exchange(oldest, oldest->next.get());
  std::unique_ptr<Delivery>& link = before ? before->next : first_;
  --messages_;
  bytes_ -= oldest->frame.size();
  if (last_ == oldest) last_ = before;
  link = std::move(oldest->next);
}

}  // namespace Quarnix::Bus::Internal
