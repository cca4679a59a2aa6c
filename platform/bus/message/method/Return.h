// The reply to a method call: its return values, or an error.
#pragma once

#include <exception>
#include <string>

#include <platform/bus/message/Base.h>

namespace Quarnix::Bus::Message::Method {

class Call;

/// A reply, received or to be sent. An error reply is thrown to the caller of a proxy's operation as this very object;
/// so it is a std::exception too, whose `what()` is the error's text, or its name without one. It comes from the
/// service, from the bus, or from this library for what went wrong on the way (with the standard names under
/// "org.freedesktop.DBus.Error.").
class HEVRA_EXPORT Return : public Base, public std::exception {
 public:
  /// The return for `call`, to be filled with the return values and sent. Sending the reply to a call that expects none
  /// does nothing.
  explicit Return(const Call& call);
  /// The error reply to `call`. Raises InvalidArgument when the name is no error name or the text no text.
  Return(const Call& call, const char* errorName, const std::string& text);
  /// An error reply that this library gives in place of one that did not come.
  Return(const char* errorName, const std::string& text);
  Return(Frame frame, const Header& header) noexcept : Base(std::move(frame), header) {}
  Return(const Return&) = default;
  Return(Return&&) noexcept = default;
  Return& operator=(const Return&) = default;
  Return& operator=(Return&&) noexcept = default;
  ~Return() override;

  /// Whether this is an error reply.
  bool isException() const noexcept { return header_.type == static_cast<std::uint8_t>(Type::ERROR); }
  /// Empty unless it is an error reply.
  const char* getErrorName() const noexcept { return text(Field::ERROR_NAME); }
  /// The error's text: its first argument when that is a string, else empty.
  const char* getErrorText() const noexcept;
  std::uint32_t getReplySerial() const noexcept { return header_.replySerial; }
  /// False for the reply to a call that expects none.
  bool isExpected() const noexcept { return expected_; }

  const char* what() const noexcept override;

 private:
  bool expected_ = true;
};

}  // namespace Quarnix::Bus::Message::Method
