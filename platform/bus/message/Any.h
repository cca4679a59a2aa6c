// A whole message of any kind, as it goes over the bus.
#pragma once

#include <cstdint>
#include <span>

#include <platform/bus/message/Base.h>

namespace Quarnix::Bus::Message {

/// A trace sees such messages, and a recording keeps them. You can only read it.
class HEVRA_EXPORT Any : public Base {
 public:
  /// A message that has passed the check.
  Any(const Frame& frame, const Header& header) noexcept : Base(frame, header), frame_(frame) {}
  /// Copies and checks the bytes of one message. Raises UnusableMessage, which names the rule that they break.
  explicit Any(std::span<const std::uint8_t> bytes);
  ~Any() override;

  Type getType() const noexcept { return static_cast<Type>(header_.type); }
  /// Whether a call expects a reply.
  bool isReplyExpected() const noexcept { return !(header_.flags & FLAG_NO_REPLY_EXPECTED); }
  /// The serial of the call that a reply is for; 0 in any other message.
  std::uint32_t getReplySerial() const noexcept { return header_.replySerial; }
  const char* getErrorName() const noexcept { return text(Field::ERROR_NAME); }
  /// The header and the body. Valid as long as the message.
  std::span<const std::uint8_t> getBytes() const noexcept { return {frame_.data(), frame_.size()}; }

 private:
  HEVRA_INTERNAL explicit Any(const Frame& frame);

  Frame frame_;
};

}  // namespace Quarnix::Bus::Message
