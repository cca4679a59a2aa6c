// The header of a message, and where its text fields stand.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Quarnix::Bus::Message {

enum class Type : std::uint8_t { INVALID = 0, METHOD_CALL = 1, METHOD_RETURN = 2, ERROR = 3, SIGNAL = 4 };

constexpr std::uint8_t FLAG_NO_REPLY_EXPECTED = 1;

/// The header fields that hold text, by their code on the wire.
enum class Field : std::uint8_t {
  PATH = 1,
  INTERFACE = 2,
  MEMBER = 3,
  ERROR_NAME = 4,
  REPLY_SERIAL = 5,
  DESTINATION = 6,
  SENDER = 7,
  SIGNATURE = 8,
  UNIX_FDS = 9
};

/// The check of a message fills this from its header. A text is a place in the message, counted from its first byte; a
/// NUL follows it there. If length and offset are both 0, the message has no such field.
struct Header {
  struct Text {
    std::uint32_t offset = 0;
    std::uint32_t length = 0;
  };

  std::uint8_t type = 0;
  std::uint8_t flags = 0;
  bool swapped = false;  // the message's byte order is not this machine's
  std::uint32_t serial = 0;
  std::uint32_t replySerial = 0;
  std::uint32_t bodyOffset = 0;
  std::uint32_t bodyLength = 0;
  std::array<Text, 9> texts;  // by Field; that of REPLY_SERIAL is the place of the number

  Text& text(Field field) noexcept { return texts[static_cast<std::size_t>(field)]; }
  const Text& text(Field field) const noexcept { return texts[static_cast<std::size_t>(field)]; }
};

}  // namespace Quarnix::Bus::Message
