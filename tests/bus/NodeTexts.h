// Arguments of messages as texts, written and read with the iterators alone, so that what the node marshallers do is
// compared with what somebody wrote down: "u1 ay0a0b (i-1 s'hall') a(yb)[(y1 b0) (y2 b1)]".
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <platform/bus/message/Signal.h>

namespace Quarnix::Test {

/// Calls `use` with a zero of the number type that has the code; false when none has.
template <class Use>
bool useNumber(int code, const Use& use) {
  const auto is = [&]<class T>(T zero) { return code == Bus::Message::codeOf<T>() && (use(zero), true); };
  return is(std::uint8_t{}) || is(std::uint16_t{}) || is(std::uint32_t{}) || is(std::int32_t{}) ||
         is(std::uint64_t{}) || is(false);
}

inline std::string textOf(Bus::Message::ConstIterator value) {
  std::string text;
  for (; const int code = value.type(); ++value) {
    if (!text.empty()) text += ' ';
    if (useNumber(code, [&](auto number) {
          value.get(number);
          text += static_cast<char>(code) + std::to_string(number);
        })) {
    } else if (code == 's') {
      text += "s'" + std::string(value.getText()) + "'";
    } else if (code == Bus::Message::STRUCTURE) {
      text += "(" + textOf(value.begin()) + ")";
    } else if (code == Bus::Message::VARIANT) {
      text += "v" + textOf(value.begin());
    } else {
      text += "ay";
      for (const std::uint8_t byte : value.getBytes())
        (text += "0123456789abcdef"[byte >> 4]) += "0123456789abcdef"[byte & 15];
    }
  }
  return text;
}

/// Appends what the text describes, up to its end or to the end of the container that it is in. What is in a variant is
/// a number or "au[...]".
inline void append(Bus::Message::Iterator& to, std::string_view& text) {
  const auto upTo = [&text](const char* ends) {
    const std::string_view found = text.substr(0, text.find_first_of(ends));
    text.remove_prefix(found.size());
    return std::string(found);
  };
  const auto fill = [&](Bus::Message::Iterator&& container) {
    append(container, text);
    text.remove_prefix(1);
    to.end(container);
  };
  while (!text.empty() && text[0] != ')' && text[0] != ']') {
    const char code = text[0];
    text.remove_prefix(1);
    if (code == ' ' || useNumber(code, [&]<class T>(T) { to.append(static_cast<T>(std::stoll(upTo(" )]")))); })) {
    } else if (code == 's') {
      text.remove_prefix(1);
      to.append(upTo("'"));
      text.remove_prefix(1);
    } else if (code == '(') {
      fill(to.begin(Bus::Message::STRUCTURE));
    } else if (code == 'v') {
      std::string content = upTo(" )]");
      if (content[0] == 'a') content += ']', text.remove_prefix(1);
      std::string_view inner = content;
      Bus::Message::Iterator variant =
          to.begin(Bus::Message::VARIANT, content[0] == 'a' ? "au" : content.substr(0, 1).c_str());
      append(variant, inner);
      to.end(variant);
    } else if (text[0] == 'y') {
      const std::string hex = upTo(" )]").substr(1);
      std::vector<std::uint8_t> bytes;
      for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(i, 2), nullptr, 16)));
      to.appendBytes(bytes.data(), bytes.size());
    } else {
      const std::string elements = upTo("[");
      text.remove_prefix(1);
      fill(to.begin(Bus::Message::ARRAY, elements.c_str()));
    }
  }
}

/// Fills a message with the arguments that the text describes.
template <class M>
M filled(M message, std::string_view text) {
  Bus::Message::Iterator to = message.begin();
  append(to, text);
  return message;
}

inline const Bus::Message::Signal signalOf(std::string_view arguments) {
  return filled(Bus::Message::Signal("/test", "test.Test", "Test"), arguments);
}

/// What W writes of the value, as a text.
template <class W, class T>
std::string written(const T& value) {
  Bus::Message::Signal message = signalOf("");
  Bus::Message::Iterator append = message.begin();
  W().serialize(append, value);
  return textOf(std::as_const(message).begin());
}

/// Whether `act` raises again what is being handled, and ends the process where nothing is.
template <class Act>
void expectRaisesWhatIsHandled(const Act& act) {
  struct InHand {};
  try {
    throw InHand();
  } catch (const InHand&) {
    EXPECT_THROW(act(), InHand);
  }
  EXPECT_DEATH(act(), "terminate called without an active exception");
}

// Records, every value another.
inline std::string headOf(const char* nodeClass) {
  return std::string("u1 ") + nodeClass +
         " q53189 y4 ay101112131415161718191a1b1c1d ay202122232425262728292a2b2c2d2e2f "
         "ay303132333435363738393a3b3c3d3e3f t34359738368 y9 u10 u11";
}
inline std::string actuatorText() { return "(" + headOf("y5") + " y12 q1300)"; }
inline std::string controllerText() { return "(" + headOf("y6") + ")"; }
inline std::string sensorText() { return "(" + headOf("y1") + " y12 q1300 q1400 y15 y16 y17 y18 y19 q2000 b1)"; }

}  // namespace Quarnix::Test
