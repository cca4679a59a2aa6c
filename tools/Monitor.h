// A connection to a bus that only listens: to everything from and to a service, where the bus lets it.
#pragma once

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/connection/SocketTransport.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Hevra::Tools {

/// Is not a Bus::Connection, which would answer the calls that it overhears.
///
/// Threads: one.
class Monitor {
 public:
  using Message = Bus::Internal::Received;

  /// Connects and becomes a monitor; where the bus refuses, it hears the service's signals only. `where` as for
  /// openBus, whose errors it raises; throws an error reply when the bus is not there.
  Monitor(const std::string& where, const std::string& service);

  /// What the bus said when it refused; empty when it did not.
  const std::string& refusal() const noexcept { return refusal_; }
  /// Becomes readable when there may be messages.
  int descriptor() const noexcept { return transport_->descriptor(); }
  /// Those of the messages that are there that the bus itself has not sent, of known kinds; throws an error reply when
  /// the bus has gone.
  std::vector<Message> read();

 private:
  Bus::Message::Method::Return ask(Bus::Message::Method::Call call);

  std::shared_ptr<Bus::Internal::SocketTransport> transport_;
  std::uint32_t serial_ = 1;
  std::vector<Message> early_;  // what came before an answer
  std::string refusal_;
};

}  // namespace Quarnix::Hevra::Tools
