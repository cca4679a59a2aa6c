// The reply to a method call: its return values, or an error.
#pragma once

#include <exception>
#include <string>

#include <platform/bus/message/Base.h>

namespace Quarnix::Bus::Message::Method {

class Call;

/// A reply that was received, or that you send. The proxies throw an error reply as this object; so it is also a
/// std::exception, whose `what()` is the error's text, or its name if it has no text. An error reply comes from the
/// service or from the bus; or this library makes it for what went wrong on the way, with a standard name under
/// "org.freedesktop.DBus.Error.".
class HEVRA_EXPORT Return : public Base, public std::exception {
 public:
  /// The return for `call`. Append the return values and send it. If the call expects no reply, sending does nothing.
  explicit Return(const Call& call);
  /// The error reply to `call`. Raises InvalidArgument if the name is no error name or the text not UTF-8.
  Return(const Call& call, const char* errorName, const std::string& text);
  /// An error reply that this library makes because none has come.
  Return(const char* errorName, const std::string& text);
  Return(Frame frame, const Header& header) noexcept : Base(std::move(frame), header) {}
  Return(const Return&) = default;
  Return(Return&&) noexcept = default;
  Return& operator=(const Return&) = default;
  Return& operator=(Return&&) noexcept = default;
  ~Return() override;

  /// Whether this is an error reply.
  bool isException() const noexcept { return header_.type == static_cast<std::uint8_t>(Type::ERROR); }
  /// The error's name; empty if this is no error reply.
  const char* getErrorName() const noexcept { return text(Field::ERROR_NAME); }
  /// The error's text, which is its first argument if that is a string; otherwise empty.
  const char* getErrorText() const noexcept;
  std::uint32_t getReplySerial() const noexcept { return header_.replySerial; }
  /// Whether the call expects a reply.
  bool isExpected() const noexcept { return expected_; }

  const char* what() const noexcept override;

 private:
  bool expected_ = true;
};

}  // namespace Quarnix::Bus::Message::Method
