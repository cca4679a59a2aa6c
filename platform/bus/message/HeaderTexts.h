// The texts of a message that is built.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>

namespace Quarnix::Bus::Message {

/// Texts one behind the other, each with a NUL behind it. Those of an ordinary call need no memory of their own.
class HeaderTexts {
 public:
  const char* data() const noexcept { return many_.empty() ? few_.data() : many_.data(); }

  /// Returns where the text is in `data`. Raises std::bad_alloc.
  std::size_t append(std::string_view text) {
    const std::size_t at = size_;
    if (many_.empty() && at + text.size() < few_.size()) {
      std::memcpy(few_.data() + at, text.data(), text.size());
      few_[at + text.size()] = '\0';
    } else {
      if (many_.empty()) {
        many_.reserve(2 * few_.size());
        many_.assign(few_.data(), at);
      }
      many_.append(text).push_back('\0');
    }
    size_ = at + text.size() + 1;
    return at;
  }

 private:
  std::size_t size_ = 0;
  std::array<char, 112> few_{};  // while there is room
  std::string many_;             // then all of them
};

}  // namespace Quarnix::Bus::Message
