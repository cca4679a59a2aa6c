// A whole message of whatever kind, as it goes over the bus.
#pragma once

#include <cstdint>
#include <span>

#include <platform/bus/message/Base.h>

namespace Quarnix::Bus::Message {

/// What a trace sees and a recording keeps. For reading only.
class HEVRA_EXPORT Any : public Base {
 public:
  /// A message that has passed the check.
  Any(const Frame& frame, const Header& header) noexcept : Base(frame, header), frame_(frame) {}
  /// A copy of the bytes of one message, which are checked. Raises UnusableMessage with the rule that they break.
  explicit Any(std::span<const std::uint8_t> bytes);
  ~Any() override;

  Type getType() const noexcept { return static_cast<Type>(header_.type); }
  /// Of a call.
  bool isReplyExpected() const noexcept { return !(header_.flags & FLAG_NO_REPLY_EXPECTED); }
  /// Of a reply: the serial of its call.
  std::uint32_t getReplySerial() const noexcept { return header_.replySerial; }
  const char* getErrorName() const noexcept { return text(Field::ERROR_NAME); }
  /// Header and body. Valid as long as the message.
  std::span<const std::uint8_t> getBytes() const noexcept { return {frame_.data(), frame_.size()}; }

 private:
  explicit Any(const Frame& frame);

  Frame frame_;
};

}  // namespace Quarnix::Bus::Message
