// A method call.
#pragma once

#include <platform/bus/message/Base.h>
#include <platform/core/time/Elapsed.h>

namespace Quarnix::Bus::Message {
struct UncheckedCall;
}

namespace Quarnix::Bus::Message::Method {

/// Asks a bus object for something: interface, member and arguments. Path and destination come from the proxy that
/// sends it, unless you set them here. The setters raise InvalidArgument for what is no such name.
class HEVRA_EXPORT Call : public Base {
 public:
  Call();
  Call(Frame frame, const Header& header) noexcept : Base(std::move(frame), header) {}
  Call(const Call&) = default;
  Call(Call&&) noexcept = default;
  Call& operator=(const Call&) = default;
  Call& operator=(Call&&) noexcept = default;
  ~Call() override;

  void setPath(const std::string& path);
  void setDestination(const std::string& busName);
  void setInterface(const char* interface);
  void setMember(const char* member);
  /// How long to wait for the reply; DEFAULT_TIMEOUT if you set none. A call whose time-out is not above zero is not
  /// sent; its caller gets the error "org.freedesktop.DBus.Error.NoReply" at once.
  void setTimeout(const Time::Elapsed& timeout) noexcept { timeout_ = timeout; }
  const Time::Elapsed& getTimeout() const noexcept { return timeout_; }
  /// Asks for no reply, not even an error. Nobody waits for such a call.
  void setNoReplyExpected() noexcept { header_.flags |= FLAG_NO_REPLY_EXPECTED; }
  bool isReplyExpected() const noexcept { return !(header_.flags & FLAG_NO_REPLY_EXPECTED); }

  static constexpr Time::Elapsed DEFAULT_TIMEOUT{25, 0};

 private:
  friend struct Message::UncheckedCall;

  Time::Elapsed timeout_ = DEFAULT_TIMEOUT;
};

}  // namespace Quarnix::Bus::Message::Method
