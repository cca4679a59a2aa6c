// The check that every message from outside passes once, before anyone reads it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include <platform/bus/message/Header.h>

namespace Quarnix::Bus::Message {

/// The size of a message, as the first FIXED_HEADER_SIZE bytes of it say.
struct DeclaredSize {
  std::size_t size = 0;        // of the whole message: header, padding and body
  std::size_t headerSize = 0;  // with its padding
  const char* rule = nullptr;  // the rule that is broken already here, or null
};

/// Reads the size from the fixed header. It checks the size against MAXIMUM_MESSAGE_SIZE, in 64 bits.
DeclaredSize declaredSize(const std::uint8_t* fixedHeader) noexcept;

/// Checks a whole message of `size` bytes, in either byte order, by every rule of the D-Bus wire format. `message` is
/// aligned to 8. Returns null and fills `header` if the message is valid, otherwise returns the rule that it breaks. In
/// a message that has passed, a ConstIterator cannot leave the body. Threads: any.
const char* check(const std::uint8_t* message, std::size_t size, Header& header) noexcept;

/// Checks the messages of one link. Most messages repeat the header fields of one before them, but for the serial of a
/// call: signals have the same path, member and sender, and replies the same sender and signature. Then the fields are
/// valid too, and only the body is checked. The last header of a reply and that of another message are remembered.
/// Threads: one at a time.
class Checker {
 public:
  /// As the function above.
  const char* check(const std::uint8_t* message, std::size_t size, Header& header) noexcept;

 private:
  struct Remembered {
    bool isRepeated(const std::uint8_t* message, std::size_t headerSize) const noexcept;

    std::size_t size = 0;  // with the padding; 0 for none
    Header header;
    std::array<std::uint8_t, 256> bytes;
  };

  Remembered other_, reply_;
};

/// Checks only the header, by the same rules. All its `declared.headerSize` bytes must be there.
const char* checkHeader(const std::uint8_t* message, const DeclaredSize& declared, Header& header) noexcept;

/// Fills `header` from a message that this library has sealed, without a check.
void readTrustedHeader(const std::uint8_t* message, std::size_t size, Header& header) noexcept;

}  // namespace Quarnix::Bus::Message
