// The body of a message under construction: its bytes, its signature and whether it may be sent.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include <platform/bus/message/Storage.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// Bytes that grow at their end behind a room for the header, so that sealing the message copies nothing. Padding is
/// zero because `align` writes it.
class HEVRA_EXPORT Body {
 public:
  /// What is kept free before the body for the header; a longer header moves the body once.
  static constexpr std::uint32_t HEADROOM = 384;

  /// Room for `count` more bytes; raises InvalidArgument beyond the largest message, std::bad_alloc without memory.
  std::uint8_t* reserve(std::uint64_t count) {
    if (storage.capacity() < begin + size + SLACK + count) [[unlikely]]
      grow(count);
    return storage.data() + begin + size;
  }
  void commit(const std::uint8_t* end) noexcept { size = static_cast<std::uint32_t>(end - storage.data()) - begin; }
  /// The next address that is a multiple of A, with zeros up to it. Relies on SLACK.
  template <std::size_t A>
  static std::uint8_t* align(std::uint8_t* at) noexcept {
    if constexpr (A > 1) {
      std::memset(at, 0, 8);
      return reinterpret_cast<std::uint8_t*>((reinterpret_cast<std::uintptr_t>(at) + (A - 1)) & ~std::uintptr_t{A - 1});
    } else {
      return at;
    }
  }

  Storage storage;
  std::uint32_t begin = HEADROOM;  // where the body begins in the storage, a multiple of 8
  std::uint32_t size = 0;
  std::string signature;
  bool unusable = false;  // an error left it half written
  int open = 0;           // how many containers are open

 private:
  static constexpr std::size_t SLACK = 16;
  void grow(std::uint64_t count);
};

}  // namespace Quarnix::Bus::Message
