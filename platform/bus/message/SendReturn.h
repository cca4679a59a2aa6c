// What sending a call gives: the reply.
#pragma once

#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Message {

/// Holds the reply to a call; there always is one, because failures on the way are error replies too.
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
