// The append iterator: writes values straight into a message's body, in the D-Bus wire format.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include <platform/bus/message/Body.h>
#include <platform/bus/message/TypeCode.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// Appends values to a message, or to the container that `begin` opened.
///
/// At the top level and in structures there, appending extends the message's signature. Inside an array or a variant
/// the signature of the contents is fixed when it is opened, and what is appended must match it.
///
/// Lifetime: an iterator refers to its message, and a container's iterator to the one that opened it; while a container
/// is open only its iterator may append. A container is closed with `end` on the iterator that opened it.
/// Errors: TypeMismatch names what was appended and what was expected; InvalidArgument names a text, path or signature
/// that the bus does not allow, or a size beyond its limits. After any error, and when a container's iterator goes
/// without having been closed, the message is unusable: sending it raises UnusableMessage.
/// Threads: one message is built by one thread.
class HEVRA_EXPORT Iterator {
 public:
  explicit Iterator(Body& body) noexcept : body_(body) {}
  Iterator(const Iterator&) = delete;
  Iterator& operator=(const Iterator&) = delete;
  ~Iterator() {
    if (parent_) abandon();
  }

  /// Appends one or more values of basic types, checked against the signature at once. Texts become "s" and must be
  /// UTF-8 without NUL.
  template <class... T>
  void append(const T&... values) {
    static_assert(sizeof...(T) > 0);
    if constexpr (sizeof...(T) > 1) {
      if (elementEnd_) {
        (append(values), ...);
        return;
      }
    }
    static constexpr char CODES[] = {codeOf<T>()..., '\0'};
    take<sizeof...(T)>(CODES);
    std::uint8_t* at = body_.reserve((room(values) + ...));
    ((at = put(at, values)), ...);
    body_.commit(at);
  }

  /// Appends an object path ("o") or a signature ("g").
  void appendPath(std::string_view path);
  void appendSignature(std::string_view signature);

  /// Appends a whole array of bytes ("ay").
  void appendBytes(const std::uint8_t* bytes, std::size_t count);

  /// Appends a variant that holds one value of a basic type.
  template <class T>
  void appendVariant(const T& value) {
    take<1>("v");
    static constexpr std::uint8_t CONTENT[] = {1, static_cast<std::uint8_t>(codeOf<T>()), 0};
    std::uint8_t* at = body_.reserve(sizeof CONTENT + room(value));
    std::memcpy(at, CONTENT, sizeof CONTENT);
    body_.commit(put(at + sizeof CONTENT, value));
  }
  /// Appends a variant that holds an array of bytes.
  void appendVariantOfBytes(const std::uint8_t* bytes, std::size_t count);

  /// Opens a structure (STRUCTURE) or, inside an array, a dictionary entry (DICTIONARY_ENTRY).
  Iterator begin(int type);
  /// Opens an array of elements of `contained`, or a variant that holds one value of it.
  Iterator begin(int type, const char* contained);
  /// Closes the container that `begin` opened.
  void end(Iterator& container);

 private:
  Iterator(Iterator& parent, char opening);
  Iterator(Iterator& parent, int type, std::string_view contents);

  /// Checks the codes against what is expected here and steps over them, or extends the message's signature.
  template <std::size_t N>
  void take(const char* codes) {
    if (expected_) [[likely]] {
      for (std::size_t i = 0; i < N; ++i)
        if (expected_[i] != codes[i]) [[unlikely]]
          failMismatch({codes, N});
      step(expected_ + N);
    } else {
      extend(codes, N);
    }
  }
  void takeType(std::string_view type);
  void step(const char* next) noexcept { expected_ = next == elementEnd_ ? elementBegin_ : next; }
  void extend(const char* codes, std::size_t count);

  template <class T>
  static std::size_t room(const T& value) noexcept {
    if constexpr (IS_TEXT<T>) {
      return std::string_view(value).size() + 8;
    } else {
      return 2 * WIRE_SIZE<T> - 1;
    }
  }

  template <class T>
  std::uint8_t* put(std::uint8_t* at, const T& value) {
    if constexpr (IS_TEXT<T>) {
      return putText(at, std::string_view(value));
    } else if constexpr (std::is_same_v<T, bool>) {
      return put(at, std::uint32_t{value});
    } else {
      at = Body::align<sizeof(T)>(at);
      std::memcpy(at, &value, sizeof(T));
      return at + sizeof(T);
    }
  }
  std::uint8_t* putText(std::uint8_t* at, std::string_view text);
  std::uint8_t* putString(std::uint8_t* at, std::string_view text) noexcept;

  void enter(int type);
  void abandon() noexcept;
  [[noreturn]] void failMismatch(std::string_view codes);
  [[noreturn]] void fail(std::string message);

  Body& body_;
  Iterator* parent_ = nullptr;          // of an open container
  const char* expected_ = nullptr;      // what comes next; null where the message's signature grows
  const char* elementBegin_ = nullptr;  // of an array's element
  const char* elementEnd_ = nullptr;    // null in everything but an array
  const char* after_ = nullptr;         // where the parent goes on once this is closed; null where it extends
  std::uint32_t lengthAt_ = 0;          // of an array: where its length stands in the body,
  std::uint32_t dataAt_ = 0;            // and where its elements begin
  char kind_ = 0;                       // '(', '{', 'a', 'v'; 0 at the top level
  std::uint8_t arrays_ = 0, structures_ = 0, depth_ = 0;
  std::string contents_;  // the signature of the contents where nothing else holds it
};

}  // namespace Quarnix::Bus::Message
