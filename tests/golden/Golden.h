// The messages that other implementations made (tests/golden/data): reading them, and comparing ours with them. It
// holds no expectation of its own.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <platform/bus/message/Base.h>
#include <platform/bus/message/Codec.h>
#include <platform/bus/message/method/Call.h>

namespace Quarnix::Bus::Message {

using Bytes = std::vector<std::uint8_t>;

inline constexpr char HOST[] = "com.quarnix.Application.Hevra";
inline constexpr char NATIVE = std::endian::native == std::endian::little ? 'l' : 'B';

/// The bytes of the message `name` in the byte order 'l' or 'B'.
inline Bytes goldenBytes(const std::string& name, char order) {
  static const auto all = [] {
    std::map<std::pair<std::string, char>, Bytes> read;
    std::ifstream file(HEVRA_SOURCE_DIR "/tests/golden/data/messages.txt");
    std::string key, hex;
    for (char letter = 0; file >> key >> letter >> hex;) {
      Bytes& bytes = read[{key, letter}];
      for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return read;
  }();
  return all.at({name, order});
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
  const Bytes bytes = goldenBytes(name, order);
  Frame frame{Storage(bytes.size()), 0, static_cast<std::uint32_t>(bytes.size())};
  std::memcpy(frame.storage.data(), bytes.data(), bytes.size());
  const Header header = checked(frame);
  EXPECT_EQ(header.swapped, order != NATIVE);
  return M(std::move(frame), header);
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
inline void expectSame(const std::string& name, Base& ours, const Base::Route& route = {}) {
  SCOPED_TRACE(name);
  const Bytes golden = goldenBytes(name, NATIVE);
  Frame expected{Storage(golden.size()), 0, static_cast<std::uint32_t>(golden.size())};
  std::memcpy(expected.storage.data(), golden.data(), golden.size());
  const Header header = checked(expected);
  const Frame sealed = ours.seal(header.serial, route);
  const Header ownHeader = checked(sealed);
  EXPECT_EQ(saidBy(sealed.data(), ownHeader), saidBy(expected.data(), header));
  EXPECT_EQ(bodyOf(sealed.data(), ownHeader), bodyOf(expected.data(), header));
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

}  // namespace Quarnix::Bus::Message
