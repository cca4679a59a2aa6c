// The reply to a call.
#pragma once

#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Message {

/// Holds the reply that sending a call returns. There always is one, because a failure on the way is an error reply
/// too.
class SendReturn {
 public:
  SendReturn(const Method::Return& reply) : reply_(reply) {}
  SendReturn(Method::Return&& reply) noexcept : reply_(std::move(reply)) {}

  const Method::Return* operator->() const noexcept { return &reply_; }
  const Method::Return& operator*() const noexcept { return reply_; }

 private:
  Method::Return reply_;
};

}  // namespace Quarnix::Bus::Message
