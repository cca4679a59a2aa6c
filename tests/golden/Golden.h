// The messages that other implementations made (tests/golden/data): reading them, and comparing ours with them. It
// holds no expectation of its own.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <typeinfo>
#include <vector>

#include <platform/bus/message/Base.h>
#include <platform/bus/message/Codec.h>
#include <platform/bus/message/method/Call.h>
#include <platform/hevra/HvTypes.h>

namespace Quarnix::Bus::Message {

using Bytes = std::vector<std::uint8_t>;

inline constexpr char TEXT[] = "Grüße, 家 \U0001d11e \uffff";
inline constexpr char HOST[] = "com.quarnix.Application.Hevra";
inline constexpr char NATIVE = std::endian::native == std::endian::little ? 'l' : 'B';

/// The message `name` in the byte order 'l' or 'B'.
inline Frame goldenFrame(const std::string& name, char order) {
  static const auto all = [] {
    std::map<std::pair<std::string, char>, std::string> read;
    std::ifstream file(HEVRA_SOURCE_DIR "/tests/golden/data/messages.txt");
    std::string key, hex;
    for (char letter = 0; file >> key >> letter >> hex;) read[{key, letter}] = hex;
    return read;
  }();
  const std::string& hex = all.at({name, order});
  const auto size = static_cast<std::uint32_t>(hex.size() / 2);
  Frame frame{Storage(size), 0, size};
  for (std::size_t i = 0; i < size; ++i)
    frame.storage.data()[i] = static_cast<std::uint8_t>(std::stoul(hex.substr(2 * i, 2), nullptr, 16));
  return frame;
}

/// The class of a typed value.
inline const std::type_info& classOf(const Shared::Pointer<Hevra::HvType>& value) {
  const Hevra::HvType& content = *value;
  return typeid(content);
}

inline Header checked(const Frame& frame) {
  Header header;
  const char* rule = check(frame.data(), frame.size(), header);
  EXPECT_EQ(rule, nullptr) << "expected " << rule;
  return header;
}

/// A message of class M as it is when it comes from the bus.
template <class M>
const M received(const std::string& name, char order) {
  Frame frame = goldenFrame(name, order);
  const Header header = checked(frame);
  EXPECT_EQ(header.swapped, order != NATIVE);
  return M(std::move(frame), header);
}

inline Method::Call callOf(const char* path, const char* interface, const char* member,
                           const char* destination = HOST) {
  Method::Call call;
  call.setPath(path);
  call.setInterface(interface);
  call.setMember(member);
  call.setDestination(destination);
  return call;
}

inline Bytes bodyOf(const std::uint8_t* message, const Header& header) {
  return Bytes(message + header.bodyOffset, message + header.bodyOffset + header.bodyLength);
}

/// What the header says, in an order of its own.
inline auto saidBy(const std::uint8_t* message, const Header& header) {
  std::vector<std::string> texts;
  for (const Header::Text& text : header.texts)
    texts.emplace_back(reinterpret_cast<const char*>(message + text.offset), text.length);
  return std::tuple(header.type, header.flags, header.serial, header.replySerial, texts);
}

/// Whether `ours`, sealed under the golden message's serial, is the same message.
inline void expectSame(const std::string& name, Base& ours) {
  SCOPED_TRACE(name);
  const Frame expected = goldenFrame(name, NATIVE);
  const Header header = checked(expected);
  const bool hasSender = name == "getnodes" || name == "hardreset";
  const Frame sealed = ours.seal(header.serial, {.path = {}, .destination = {}, .sender = hasSender ? ":1.7" : ""});
  const Header ownHeader = checked(sealed);
  EXPECT_EQ(saidBy(sealed.data(), ownHeader), saidBy(expected.data(), header));
  EXPECT_EQ(bodyOf(sealed.data(), ownHeader), bodyOf(expected.data(), header));
}

template <class T>
void writeArgument(Iterator& append, const T& argument) {
  if constexpr (requires { argument.write(append); }) {
    argument.write(append);
  } else {
    append.append(argument);
  }
}

template <class T>
void expectArgument(ConstIterator& read, const T& argument) {
  if constexpr (requires { argument.expect(read); }) {
    argument.expect(read);
  } else {
    T found{};
    read.read(found);
    EXPECT_EQ(found, argument);
  }
}

/// Whether the message is `ours` filled with the arguments, written and read. An argument of a basic type is the value
/// itself; another one has `write`, and `expect`, which steps over it.
template <class M, class... A>
void expectBothWays(const std::string& name, M ours, const A&... arguments) {
  SCOPED_TRACE(name);
  {
    Iterator append = ours.begin();
    (writeArgument(append, arguments), ...);
  }
  expectSame(name, ours);
  for (const char order : {'l', 'B'}) {
    const auto theirs = received<M>(name, order);
    EXPECT_STREQ(theirs.getPath(), ours.getPath());
    EXPECT_STREQ(theirs.getInterface(), ours.getInterface());
    EXPECT_STREQ(theirs.getMember(), ours.getMember());
    EXPECT_STREQ(theirs.getDestination(), ours.getDestination());
    EXPECT_STREQ(theirs.getSignature(), ours.getSignature());
    ConstIterator read = theirs.begin();
    (expectArgument(read, arguments), ...);
    EXPECT_EQ(read, theirs.end());
  }
}

/// The bytes of a message that W writes the value into. Two values are compared by it: that it is right for what they
/// were made of is seen where it is compared with the golden messages.
template <class W, class T>
Bytes written(const T& value) {
  Method::Call message = callOf("/golden", "golden.Values", "Value");
  Iterator append = message.begin();
  W().serialize(append, value);
  const Frame sealed = message.seal(1, {});
  return bodyOf(sealed.data(), checked(sealed));
}

/// What W marshals, as an argument.
template <class W, class T>
struct Wrapped {
  T content;

  void write(Iterator& append) const { W().serialize(append, content); }
  void expect(ConstIterator& read) const {
    T found{};
    W().deserialize(read, found);
    EXPECT_EQ(written<W>(found), written<W>(content));
    ++read;
  }
};

}  // namespace Quarnix::Bus::Message
