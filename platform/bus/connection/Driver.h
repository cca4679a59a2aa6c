// The bus itself as an object ("the driver"): its name, the calls that a connection makes to it, and its answers.
#pragma once

#include <cstring>
#include <optional>

#include <platform/bus/connection/Transaction.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

constexpr const char* DRIVER_NAME = "org.freedesktop.DBus";
constexpr const char* DRIVER_PATH = "/org/freedesktop/DBus";
constexpr const char* DRIVER_INTERFACE = "org.freedesktop.DBus";
constexpr const char* LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded";

/// A call to `member` of the bus, to which arguments may be appended.
inline Message::Method::Call driverCall(const char* member) {
  Message::Method::Call call;
  call.setPath(DRIVER_PATH);
  call.setDestination(DRIVER_NAME);
  call.setInterface(DRIVER_INTERFACE);
  call.setMember(member);
  return call;
}

template <class... A>
Message::Method::Call driverCall(const char* member, const A&... arguments) {
  Message::Method::Call call = driverCall(member);
  call.begin().append(arguments...);
  return call;
}

/// The one value of a reply; nothing for an error and for another signature.
template <class T>
std::optional<T> answerOf(const Message::Method::Return& reply, const char* signature) {
  if (reply.isException() || std::strcmp(reply.getSignature(), signature) != 0) return std::nullopt;
  T value{};
  reply.begin().get(value);
  return value;
}

/// Sends calls to the bus without waiting. A connection's parts use it to say what they want of the bus.
///
/// Threads: called with the connection's mutex held.
class DriverQueue {
 public:
  /// Queues the call. The handler gets the reply, and nothing if the link is lost before: a new link begins with
  /// everything that the bus has to know. Does nothing while the link is down. Raises std::bad_alloc.
  virtual void post(Message::Method::Call call, ReplyHandler handler) = 0;
  void post(Message::Method::Call call) {
    post(std::move(call), [](const Message::Method::Return&) {});
  }

 protected:
  ~DriverQueue() = default;
};

}  // namespace Quarnix::Bus::Internal
