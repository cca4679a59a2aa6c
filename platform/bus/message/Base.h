// What every message has: header fields, a body signature and one contiguous body.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <platform/bus/message/Body.h>
#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Header.h>
#include <platform/bus/message/Iterator.h>
#include <platform/bus/message/Storage.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// A message being built, or one that was received. Copies share the bytes until one of them is appended to or sealed.
///
/// Threads: building is one thread's; reading is free for all.
class HEVRA_EXPORT Base {
 public:
  virtual ~Base();

  /// An append iterator at the end of the body. Raises UnusableMessage on a message that was received.
  Iterator begin();
  /// A read iterator at the first argument, and the position behind the last.
  ConstIterator begin() const noexcept;
  ConstIterator end() const noexcept;

  /// The signature of all arguments; empty without any. All texts here are empty where the message has no such field,
  /// and are valid as long as the message.
  const char* getSignature() const noexcept;
  const char* getPath() const noexcept { return text(Field::PATH); }
  const char* getInterface() const noexcept { return text(Field::INTERFACE); }
  const char* getMember() const noexcept { return text(Field::MEMBER); }
  /// The bus name that the message is for; the unique name of the connection that it came from.
  const char* getDestination() const noexcept { return text(Field::DESTINATION); }
  const char* getSender() const noexcept { return text(Field::SENDER); }
  /// 0 until the message was sent.
  std::uint32_t getSerial() const noexcept { return header_.serial; }

  /// Header fields that the connection adds when it sends.
  struct Route {
    std::string_view path;         // where the message itself names none
    std::string_view destination;  // likewise
    std::string_view sender;       // only on the in-process bus; a bus daemon fills it in itself
  };
  /// Finishes the message for sending under `serial`, which must not be 0: checks the required fields and writes the
  /// header before the body. Texts and signature were checked as they were given; `route` is trusted. Raises
  /// UnusableMessage, InvalidArgument.
  Frame seal(std::uint32_t serial, const Route& route);

 protected:
  explicit Base(Type type) noexcept;
  /// A message that has passed the check.
  Base(Frame frame, const Header& header) noexcept;
  Base(const Base&);
  Base(Base&&) noexcept;
  Base& operator=(const Base&);
  Base& operator=(Base&&) noexcept;

  const char* text(Field field) const noexcept;
  void setText(Field field, std::string_view value);

  Header header_;

 private:
  struct FieldWriter;
  std::string_view view(Field field) const noexcept;

  bool received_;
  std::uint32_t frameBegin_ = 0;  // of a received message, in the storage
  Body body_;
  std::string texts_;  // the texts of a message being built, each with a NUL behind it
};

}  // namespace Quarnix::Bus::Message
