// The base of all messages: header fields, the signature of the arguments and one contiguous body.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <platform/bus/message/Body.h>
#include <platform/bus/message/ConstIterator.h>
#include <platform/bus/message/Header.h>
#include <platform/bus/message/HeaderTexts.h>
#include <platform/bus/message/Iterator.h>
#include <platform/bus/message/Storage.h>
#include <platform/core/Export.h>

namespace Quarnix::Bus::Message {

/// A message that you build, or one that was received. Copies share the bytes until you append to one or seal it.
///
/// Threads: one thread builds a message; any number may read it.
class HEVRA_EXPORT Base {
 public:
  virtual ~Base();

  /// An append iterator at the end of the body. Raises UnusableMessage if the message was received.
  Iterator begin();
  /// A read iterator at the first argument, and the position behind the last.
  ConstIterator begin() const noexcept;
  ConstIterator end() const noexcept;

  /// The signature of all arguments. This and the following texts are empty if the message has none, and valid as long
  /// as the message.
  const char* getSignature() const noexcept;
  const char* getPath() const noexcept { return text(Field::PATH); }
  const char* getInterface() const noexcept { return text(Field::INTERFACE); }
  const char* getMember() const noexcept { return text(Field::MEMBER); }
  /// The bus name that the message goes to, and the unique name of the connection that it came from.
  const char* getDestination() const noexcept { return text(Field::DESTINATION); }
  const char* getSender() const noexcept { return text(Field::SENDER); }
  /// 0 until the message is sent.
  std::uint32_t getSerial() const noexcept { return header_.serial; }

  /// Header fields that the connection adds when it sends.
  struct Route {
    std::string_view path;         // for a message that names none
    std::string_view destination;  // likewise
    std::string_view sender;       // on the in-process bus only; a bus daemon adds it
  };
  /// Finishes the message for sending under `serial`, which must not be 0: checks that the required fields are there
  /// and writes the header before the body. Texts and signature have been checked when they were given; `route` is
  /// trusted. Raises UnusableMessage and InvalidArgument.
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
  HEVRA_INTERNAL std::string_view view(Field field) const noexcept;

  bool received_;
  std::uint32_t frameBegin_ = 0;  // where a received message begins in the storage
  Body body_;
  HeaderTexts texts_;  // of a message that is built
};

}  // namespace Quarnix::Bus::Message
