// The append iterator, which writes values straight into a message's body.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <platform/bus/message/Body.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/Signature.h>
#include <platform/bus/message/TypeCode.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// Appends values to a message, or to a container that `begin` has opened.
///
/// At the top level, and in structures there, appending extends the message's signature. An array or a variant gets the
/// signature of its contents when it is opened, and what you append must match it.
///
/// Lifetime: an iterator refers to its message, and a container's iterator to the one that has opened it. While a
/// container is open, only its iterator may append. Close it with `end` on the iterator that has opened it.
/// Errors: TypeMismatch names what was appended and what was expected. InvalidArgument names a text, path or signature
/// that the bus does not allow, or a size beyond its limits. After any error, after `abandon`, and after a container's
/// iterator was destroyed without `end`, the message is unusable: sending it raises UnusableMessage.
/// Threads: one thread builds a message.
class HEVRA_EXPORT Iterator {
 public:
  explicit Iterator(Body& body) noexcept : body_(body) {}
  Iterator(const Iterator&) = delete;
  Iterator& operator=(const Iterator&) = delete;
  ~Iterator() {
    if (parent_) abandon();
  }

  /// Appends one or more values of basic types. They are checked against the signature together. A text becomes "s" and
  /// must be UTF-8 without NUL.
  template <class... T>
  [[gnu::always_inline]] void append(const T&... values) {
    static_assert(sizeof...(T) > 0);
    if constexpr (sizeof...(T) > 1) {
      if (elementEnd_) {
        (appendElement(values), ...);
        return;
      }
    }
    take<sizeof...(T)>(SIGNATURE_OF<T...>.codes);
    std::uint8_t* at = body_.reserve((room(values) + ...));
    ((at = put(at, values)), ...);
    body_.commit(at);
  }

  /// Appends an object path ("o") or a signature ("g").
  void appendPath(std::string_view path);
  void appendSignature(std::string_view signature);

  /// Appends a whole array of bytes ("ay").
  void appendBytes(const std::uint8_t* bytes, std::size_t count);

  /// Appends a variant with one value of a basic type.
  template <class T>
  void appendVariant(const T& value) {
    take<1>(ANY_VALUE.codes);
    static constexpr std::uint8_t CONTENT[] = {1, static_cast<std::uint8_t>(codeOf<T>()), 0};
    std::uint8_t* at = body_.reserve(sizeof CONTENT + room(value));
    std::memcpy(at, CONTENT, sizeof CONTENT);
    body_.commit(put(at + sizeof CONTENT, value));
  }
  /// Appends a variant with an array of bytes.
  void appendVariantOfBytes(const std::uint8_t* bytes, std::size_t count);

  /// Makes the message unusable. A marshaller calls it when it fails between the values of a record.
  void abandon() noexcept { body_.unusable = true; }

  /// Opens a structure (STRUCTURE) or, inside an array, a dictionary entry (DICTIONARY_ENTRY).
  Iterator begin(int type) { return Iterator(*this, openingOf(type)); }
  /// Opens an array of elements of the type `contained`, or a variant with one value of it.
  Iterator begin(int type, const char* contained);
  /// Closes the container that `begin` opened.
  void end(Iterator& container) {
    if (container.parent_ != this) [[unlikely]]
      failEnd();
    const char* after = container.after_;
    if (container.kind_ == '(' && container.expected_) [[likely]] {
      if (*container.expected_ != ')') [[unlikely]]
        container.failMismatch(")");
      after = container.expected_ + 1;
    } else {
      after = close(container);
    }
    expected_ = after;
    if (after) step(after);
    container.parent_ = nullptr;
    container.expected_ = CONTAINER_OPEN;
    --body_.open;
  }

 private:
  Iterator(Iterator& parent, char opening) : body_(parent.body_), parent_(&parent), kind_(opening) {
    if (parent.expected_) [[likely]] {
      if (*parent.expected_ != opening) [[unlikely]]
        parent.failMismatch({&opening, 1});
      expected_ = parent.expected_ + 1;
    } else {
      parent.extendByOpening(opening);
    }
    body_.commit(Body::align<8>(body_.reserve(8)));
    enter(0, 1);
  }
  HEVRA_INTERNAL Iterator(Iterator& parent, int type, std::string_view contents);

  /// Appends one of several values to an array. It is a function of its own, because few places do this.
  template <class T>
  [[gnu::noinline]] void appendElement(const T& value) {
    append(value);
  }

  /// Checks that these codes are expected here and steps over them, or extends the message's signature by them.
  template <std::size_t N>
  void take(const char* codes) {
    static_assert(N <= LOOK_AHEAD);
    if (expected_) [[likely]] {
      if (std::memcmp(expected_, codes, N) != 0) [[unlikely]]
        failMismatch({codes, N});
      step(expected_ + N);
    } else {
      extend(codes, N);
    }
  }
  HEVRA_INTERNAL void takeType(std::string_view type);
  void step(const char* next) noexcept { expected_ = next == elementEnd_ ? elementBegin_ : next; }
  HEVRA_INTERNAL char* hold(std::string_view contents);
  void extend(const char* codes, std::size_t count);
  void extendByOpening(char opening);

  // It has 64 bits, because the sum of several texts may need more than 32.
  template <class T>
  static std::uint64_t room(const T& value) noexcept {
    if constexpr (IS_TEXT<T>) {
      return std::uint64_t{std::string_view(value).size()} + 8;
    } else if constexpr (HasHead<T>) {
      return std::uint64_t{value.rest().size()} + T::LONGEST_HEAD + 8;
    } else {
      return 2 * WIRE_SIZE<T> - 1;
    }
  }

  template <class T>
  std::uint8_t* put(std::uint8_t* at, const T& value) {
    if constexpr (IS_TEXT<T>) {
      return putText(at, std::string_view(value));
    } else if constexpr (HasHead<T>) {
      at = Body::align<4>(at);
      std::uint8_t* const begin = at + 4;
      std::uint8_t* const end = reinterpret_cast<std::uint8_t*>(value.writeHead(reinterpret_cast<char*>(begin)));
      return putRest(at, end, value.rest());
    } else if constexpr (std::is_same_v<T, bool>) {
      return put(at, std::uint32_t{value});
    } else {
      at = Body::align<sizeof(T)>(at);
      std::memcpy(at, &value, sizeof(T));
      return at + sizeof(T);
    }
  }
  std::uint8_t* putText(std::uint8_t* at, std::string_view text) {
    at = Body::align<4>(at);
    return putRest(at, at + 4, text);
  }
  /// Writes the text from `to` on, its NUL, and at `at` how long it is together with what stands before `to`.
  std::uint8_t* putRest(std::uint8_t* at, std::uint8_t* to, std::string_view text) {
    if (!copyPlain(to, text.data(), text.size())) copyChecked(to, text);
    to += text.size();
    *to = 0;
    const auto length = static_cast<std::uint32_t>(to - at - 4);
    std::memcpy(at, &length, 4);
    return to + 1;
  }
  HEVRA_INTERNAL std::uint8_t* putString(std::uint8_t* at, std::string_view text) noexcept;
  void copyChecked(std::uint8_t* at, std::string_view text);

  /// Copies a text. Returns whether it is ASCII without NUL, which needs no further check. The last word overlaps the
  /// one before, so that only texts of less than four bytes are copied byte by byte.
  static bool copyPlain(std::uint8_t* at, const char* text, std::size_t size) noexcept {
    if (size >= 8) {
      std::uint64_t odd = 0;
      for (std::size_t i = 0; i + 8 < size; i += 8) odd |= copyWord<std::uint64_t>(at + i, text + i);
      odd |= copyWord<std::uint64_t>(at + size - 8, text + size - 8);
      return odd == 0;
    }
    if (size >= 4)
      return (copyWord<std::uint32_t>(at, text) | copyWord<std::uint32_t>(at + size - 4, text + size - 4)) == 0;
    std::uint8_t odd = 0;
    for (std::size_t i = 0; i < size; ++i)
      odd = static_cast<std::uint8_t>(odd | copyWord<std::uint8_t>(at + i, text + i));
    return odd == 0;
  }
  /// Not 0 when a byte of the word is 0 or has its high bit set.
  template <class W>
  static W copyWord(std::uint8_t* to, const char* from) noexcept {
    constexpr W ONES = static_cast<W>(0x0101010101010101u & static_cast<W>(~W{0}));
    W word = 0;
    std::memcpy(&word, from, sizeof word);
    std::memcpy(to, &word, sizeof word);
    return static_cast<W>((static_cast<W>(word - ONES) | word) & static_cast<W>(ONES << 7));
  }

  void enter(int arrays, int structures) {
    arrays_ = static_cast<std::uint8_t>(parent_->arrays_ + arrays);
    structures_ = static_cast<std::uint8_t>(parent_->structures_ + structures);
    depth_ = static_cast<std::uint8_t>(parent_->depth_ + 1);
    if (arrays_ > MAXIMUM_ARRAY_DEPTH || structures_ > MAXIMUM_STRUCTURE_DEPTH || depth_ > MAXIMUM_DEPTH) [[unlikely]]
      failDepth();
    // From here on only this iterator may append, until `end`.
    parent_->expected_ = CONTAINER_OPEN;
    ++body_.open;
  }
  char openingOf(int type) {
    if (type == STRUCTURE) return '(';
    if (type == DICTIONARY_ENTRY) return '{';
    failType(type, "'r' or 'e' where no contents are named");
  }
  const char* close(Iterator& container);
  [[noreturn]] void failMismatch(std::string_view codes);
  [[noreturn]] void failDepth();
  [[noreturn]] void failEnd();
  [[noreturn]] void failType(int type, const char* expected);
  [[noreturn]] HEVRA_INTERNAL void fail(std::string message);

  /// How many characters may be compared from any place that `expected_` points to.
  static constexpr std::size_t LOOK_AHEAD = 16;
  /// What an iterator expects while a container that it has opened is open. No value has this code.
  static constexpr char CONTAINER_OPEN[LOOK_AHEAD] = {};

  Body& body_;
  Iterator* parent_ = nullptr;          // the one that has opened this container; null at the top level
  const char* expected_ = nullptr;      // what must come next; null where the message's signature grows
  const char* elementBegin_ = nullptr;  // the type of an array's element
  const char* elementEnd_ = nullptr;    // null except in an array
  const char* after_ = nullptr;         // what the parent expects when this is closed; null where it extends
  std::uint32_t lengthAt_ = 0;          // where an array's length stands in the body,
  std::uint32_t dataAt_ = 0;            // and where its elements begin
  char kind_ = 0;                       // '(', '{', 'a', 'v'; 0 at the top level
  std::uint8_t arrays_ = 0, structures_ = 0, depth_ = 0;
  // The type of an array or a variant if nothing else holds it, with NULs behind it.
  std::unique_ptr<char[]> longType_;
  char shortType_[48];
};

}  // namespace Quarnix::Bus::Message
