// The check that everything from outside passes once before anyone reads it.
#pragma once

#include <cstddef>
#include <cstdint>

#include <platform/bus/message/Header.h>

namespace Quarnix::Bus::Message {

/// What a message of which the first FIXED_HEADER_SIZE bytes are known says of its size.
struct DeclaredSize {
  std::size_t size = 0;        // of the whole message: header, padding and body
  std::size_t headerSize = 0;  // with its padding
  const char* rule = nullptr;  // the rule that is broken already here, or null
};

/// Reads the fixed header; computed in 64 bits and checked against MAXIMUM_MESSAGE_SIZE before anything is allocated.
DeclaredSize declaredSize(const std::uint8_t* fixedHeader) noexcept;

/// Checks a whole message of `size` bytes by every rule of the D-Bus wire format, iteratively, in both byte orders,
/// without changing it. `message` is 8-aligned. Null and `header` filled when it is valid, otherwise the rule that is
/// broken. What passed cannot make a ConstIterator run outside the body. Threads: any.
const char* check(const std::uint8_t* message, std::size_t size, Header& header) noexcept;

/// Checks the header alone, of which all `declared.headerSize` bytes are there, by the rules that `check` has for it.
const char* checkHeader(const std::uint8_t* message, const DeclaredSize& declared, Header& header) noexcept;

/// Fills `header` from a message that this library itself has sealed, without checking it again.
void readTrustedHeader(const std::uint8_t* message, std::size_t size, Header& header) noexcept;

}  // namespace Quarnix::Bus::Message
