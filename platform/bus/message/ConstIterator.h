// The read iterator, which walks a message's body in place.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include <platform/bus/message/Signature.h>
#include <platform/bus/message/TypeCode.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// A position in the body of a message. It is a small value that you can copy.
///
/// `get` reads the value at the position and does not step over it. `++` steps over one complete value. `begin` and
/// `end` enter a container. `read` reads several values of basic types and steps over them.
///
/// Lifetime: valid as long as its message, while nobody appends to it.
/// Errors: TypeMismatch names the type that was read and the one that stands here; NotAContainer; EndOfContainer.
/// Threads: any number of threads may read a message while nobody appends to it.
class HEVRA_EXPORT ConstIterator {
 public:
  /// At `at`, in bytes that have passed the check; `signature` is that of the values from there to `end`.
  ConstIterator(const std::uint8_t* at, const std::uint8_t* end, const char* signature, bool swapped) noexcept
      : at_(at), end_(end), signature_(signature), swapped_(swapped) {}

  /// The type code at the position ('r' for a structure, 'e' for a dictionary entry), 0 at the end.
  int type() const noexcept {
    switch (*signature_) {
      case '(':
        return STRUCTURE;
      case '{':
        return DICTIONARY_ENTRY;
      case ')':
      case '}':
        return 0;
      default:
        return *signature_;
    }
  }
  /// The signature of the complete value at the position; empty at the end.
  std::string signature() const { return std::string(signatureView()); }
  /// The same without a copy. Valid as long as the message.
  std::string_view signatureView() const noexcept;

  /// Enters the container at the position: `begin` is at its first value, `end` behind its last.
  ConstIterator begin() const;
  ConstIterator end() const;

  ConstIterator& operator++();
  /// Steps over the container at the position; `inside` is a position in it. If `inside` is on the container's last
  /// value or at its end, this walks nothing twice.
  void leave(const ConstIterator& inside);

  friend bool operator==(const ConstIterator& a, const ConstIterator& b) noexcept { return a.at_ == b.at_; }

  /// Reads one value of a basic type. A std::string_view is valid as long as the message.
  template <class T>
  void get(T& value) const {
    requireCode<T>();
    load(at_, value);
  }

  /// Reads values of basic types that stand here one after the other, and steps over them.
  template <class... T>
  void read(T&... values) {
    if constexpr (sizeof...(T) > 1) {
      if (!elementBegin_ && matches<sizeof...(T)>(SIGNATURE_OF<T...>.codes)) [[likely]] {
        const std::uint8_t* at = at_;
        ((at = load(at, values)), ...);
        at_ = at;
        signature_ += sizeof...(T);
        return;
      }
    }
    (readOne(values), ...);
  }
  /// Reads an array of bytes and steps over it.
  void read(std::span<const std::uint8_t>& bytes) {
    bytes = getBytes();
    stepTo(bytes.data() + bytes.size(), BYTES);
  }

  /// The text of a string, an object path or a signature.
  std::string_view getText() const;
  /// The contents of an array of bytes.
  std::span<const std::uint8_t> getBytes() const {
    if (signature_[0] != BYTES.codes[0] || signature_[1] != BYTES.codes[1]) [[unlikely]]
      failMismatch(ARRAY);
    const std::uint8_t* at = align<4>(at_);
    return {at + 4, word(at)};
  }
  /// The value in a variant.
  ConstIterator getVariant() const;

 private:
  template <std::size_t N>
  bool matches(const char* codes) const noexcept {
    for (std::size_t i = 0; i < N; ++i)
      if (signature_[i] != codes[i]) return false;
    return true;
  }
  template <class T>
  void requireCode() const {
    if (*signature_ != codeOf<T>()) [[unlikely]]
      failMismatch(codeOf<T>());
  }
  template <class T>
  void readOne(T& value) {
    requireCode<T>();
    const std::uint8_t* after = load(at_, value);
    stepTo(after, SIGNATURE_OF<T>);
  }
  /// Goes behind the value here, which has this signature.
  void stepTo(const std::uint8_t* after, std::string_view signature) noexcept {
    at_ = after;
    if (!elementBegin_) {
      signature_ += signature.size();
    } else if (at_ == end_) {
      signature_ = "";
    }
  }

  template <std::size_t A>
  static const std::uint8_t* align(const std::uint8_t* at) noexcept {
    return reinterpret_cast<const std::uint8_t*>((reinterpret_cast<std::uintptr_t>(at) + (A - 1)) &
                                                 ~std::uintptr_t{A - 1});
  }
  std::uint32_t word(const std::uint8_t* at) const noexcept {
    std::uint32_t value = 0;
    std::memcpy(&value, at, 4);
    return swapped_ ? __builtin_bswap32(value) : value;
  }

  template <class T>
  const std::uint8_t* load(const std::uint8_t* at, T& value) const {
    if constexpr (std::is_same_v<T, bool>) {
      at = align<4>(at);
      value = word(at) != 0;
      return at + 4;
    } else if constexpr (IS_TEXT<T>) {
      at = align<4>(at);
      const std::uint32_t length = word(at);
      value = std::string_view(reinterpret_cast<const char*>(at + 4), length);
      return at + 5 + length;
    } else {
      at = align<sizeof(T)>(at);
      std::memcpy(&value, at, sizeof(T));
      if (swapped_) [[unlikely]]
        swap(value);
      return at + sizeof(T);
    }
  }
  template <class T>
  static void swap(T& value) noexcept {
    std::uint8_t bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    for (std::size_t i = 0; i < sizeof(T) / 2; ++i) std::swap(bytes[i], bytes[sizeof(T) - 1 - i]);
    std::memcpy(&value, bytes, sizeof(T));
  }

  HEVRA_INTERNAL const std::uint8_t* skip(const std::uint8_t* at, const char* signature,
                                          const char* signatureEnd) const noexcept;
  [[noreturn]] void failMismatch(char wanted) const;
  [[noreturn]] HEVRA_INTERNAL void failEnter() const;

  const std::uint8_t* at_;              // where the value, or the padding before it, begins
  const std::uint8_t* end_;             // the end of the container's values, or of what is around it
  const char* signature_;               // of the value here, and of those behind it
  const char* elementBegin_ = nullptr;  // inside an array: its element's signature
  bool swapped_;
};

}  // namespace Quarnix::Bus::Message
