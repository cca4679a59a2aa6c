// The three kinds of message that the library sends and receives. They are small, so they share this file.
#include <platform/bus/Error.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Message {

namespace Method {

Call::Call() : Base(Type::METHOD_CALL) {}
Call::~Call() = default;

void Call::setPath(const std::string& path) {
  require(checkMessagePath(path), "object path", path);
  setText(Field::PATH, path);
}

void Call::setDestination(const std::string& busName) {
  require(checkBusName(busName), "bus name", busName);
  setText(Field::DESTINATION, busName);
}

void Call::setInterface(const char* interface) {
  require(checkInterface(interface), "interface", interface);
  setText(Field::INTERFACE, interface);
}

void Call::setMember(const char* member) {
  require(checkMember(member), "member", member);
  setText(Field::MEMBER, member);
}

Return::Return(const Call& call) : Base(Type::METHOD_RETURN), expected_(call.isReplyExpected()) {
  header_.flags = FLAG_NO_REPLY_EXPECTED;
  header_.replySerial = call.getSerial();
  setText(Field::DESTINATION, call.getSender());
}

Return::Return(const Call& call, const char* errorName, const std::string& text) : Return(call) {
  header_.type = static_cast<std::uint8_t>(Type::ERROR);
  require(checkErrorName(errorName), "error name", errorName);
  setText(Field::ERROR_NAME, errorName);
  begin().append(text);
}

Return::Return(const char* errorName, const std::string& text) : Base(Type::ERROR) {
  setText(Field::ERROR_NAME, errorName);
  begin().append(text);
}

Return::~Return() = default;

const char* Return::getErrorText() const noexcept {
  const ConstIterator first = begin();
  return isException() && first.type() == 's' ? first.getText().data() : "";
}

const char* Return::what() const noexcept {
  const char* text = getErrorText();
  return *text ? text : getErrorName();
}

}  // namespace Method

Signal::Signal(const std::string& path, const char* interface, const char* member) : Base(Type::SIGNAL) {
  require(checkMessagePath(path), "object path", path);
  require(checkInterface(interface), "interface", interface);
  require(checkMember(member), "member", member);
  header_.flags = FLAG_NO_REPLY_EXPECTED;
  setText(Field::PATH, path);
  setText(Field::INTERFACE, interface);
  setText(Field::MEMBER, member);
}

Signal::~Signal() = default;

void Signal::setDestination(const std::string& busName) {
  require(checkBusName(busName), "bus name", busName);
  setText(Field::DESTINATION, busName);
}

}  // namespace Quarnix::Bus::Message
