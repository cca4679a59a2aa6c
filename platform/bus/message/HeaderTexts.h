// The texts of a message that is built.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <platform/bus/message/Storage.h>

namespace Quarnix::Bus::Message {

/// Texts one behind the other, each with a NUL behind it. Those of an ordinary call need no memory of their own.
class HeaderTexts {
 public:
  const char* data() const noexcept { return many_ ? reinterpret_cast<const char*>(many_.data()) : few_.data(); }

  /// Returns where the text is in `data`. Raises std::bad_alloc.
  std::uint32_t append(std::string_view text) {
    const std::uint32_t at = size_;
    const std::size_t end = at + text.size() + 1;
    char* texts = few_.data();
    if (many_ || end > few_.size()) {
      const bool isFirst = !many_;
      if (isFirst || many_.isShared() || end > many_.capacity()) many_.grow(std::max(end, 2 * few_.size()), at);
      texts = reinterpret_cast<char*>(many_.data());
      if (isFirst) std::memcpy(texts, few_.data(), at);
    }
    std::memcpy(texts + at, text.data(), text.size());
    texts[end - 1] = '\0';
    size_ = static_cast<std::uint32_t>(end);
    return at;
  }

 private:
  std::uint32_t size_ = 0;
  std::array<char, 112> few_{};  // while there is room
  Storage many_;                 // then all of them
};

}  // namespace Quarnix::Bus::Message
