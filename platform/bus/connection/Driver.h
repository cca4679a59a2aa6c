// The bus itself as an object, which is called the driver: its name, calls to it, and its answers.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

constexpr const char* DRIVER_NAME = "org.freedesktop.DBus";
constexpr const char* DRIVER_PATH = "/org/freedesktop/DBus";
constexpr const char* DRIVER_INTERFACE = "org.freedesktop.DBus";
constexpr const char* LIMITS_EXCEEDED = "org.freedesktop.DBus.Error.LimitsExceeded";

/// A call to `member` of the bus. You may append arguments.
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

/// The value of a reply that is one value of this basic type. Nothing for an error and for any other signature.
template <class T>
std::optional<T> answerOf(const Message::Method::Return& reply) {
  if (reply.isException() || reply.getSignature() != Message::SIGNATURE_OF<T>) return std::nullopt;
  T value{};
  reply.begin().get(value);
  return value;
}

/// An error reply as a text.
inline std::string describe(const Message::Method::Return& error) {
  return std::string(error.getErrorName()) + ": " + error.getErrorText();
}

/// Receives the reply to a call that the connection itself has made, with the connection's mutex held.
using AnswerHandler = std::function<void(const Message::Method::Return&)>;

/// Sends calls to the bus without waiting for the answers. Through it, a connection's parts tell the bus what they
/// want.
///
/// Threads: the caller holds the connection's mutex.
class DriverQueue {
 public:
  /// Queues the call. The handler gets the reply, unless the link is lost before; a new link begins with everything
  /// that the bus has to know. Does nothing while the link is down and not being opened with a flight. Raises
  /// std::bad_alloc.
  virtual void post(Message::Method::Call call, AnswerHandler handler) = 0;
  void post(Message::Method::Call call) {
    post(std::move(call), [](const Message::Method::Return&) {});
  }

 protected:
  ~DriverQueue() = default;
};

}  // namespace Quarnix::Bus::Internal
