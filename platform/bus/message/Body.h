// The body of a message that is built: its bytes, its signature and whether it may be sent.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>

#include <platform/bus/message/Storage.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// The bytes grow at their end. Before them is room for the header, so that sealing the message copies nothing. `align`
/// writes the padding, so that it is zero.
class HEVRA_EXPORT Body {
 public:
  /// The room for the header before the body, in bytes. If the header is longer, sealing moves the body once.
  static constexpr std::uint32_t HEADROOM = 384;

  /// Makes room for `count` more bytes and returns where they go. Raises InvalidArgument if the message would be too
  /// large, and std::bad_alloc.
  std::uint8_t* reserve(std::uint64_t count) {
    if (storage.capacity() < begin + size + SLACK + count) [[unlikely]]
      grow(count);
    return storage.data() + begin + size;
  }
  void commit(const std::uint8_t* end) noexcept { size = static_cast<std::uint32_t>(end - storage.data()) - begin; }
  /// The next address that is a multiple of A. Writes zeros up to it, which may use some of SLACK.
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
