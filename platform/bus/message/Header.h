// The header of a message, and where its text fields stand.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace Quarnix::Bus::Message {

enum class Type : std::uint8_t { INVALID = 0, METHOD_CALL = 1, METHOD_RETURN = 2, ERROR = 3, SIGNAL = 4 };

constexpr std::uint8_t FLAG_NO_REPLY_EXPECTED = 1;
constexpr std::uint8_t FLAG_NO_AUTO_START = 2;

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

/// What the check of a message finds in its header. Texts are given by their place relative to the message's first
/// byte; each is followed by a NUL there. A length of 0 with an offset of 0 means that the field is absent.
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
  std::array<Text, 9> texts;  // by Field; REPLY_SERIAL's place is unused

  Text& text(Field field) noexcept { return texts[static_cast<std::size_t>(field)]; }
  const Text& text(Field field) const noexcept { return texts[static_cast<std::size_t>(field)]; }
};

}  // namespace Quarnix::Bus::Message
