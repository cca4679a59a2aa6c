// Every rule that a received message must satisfy: what is refused and for which rule, and what only looks wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <memory>
#include <string>

#include <platform/bus/message/Codec.h>
#include <platform/bus/message/Rules.h>
#include <tests/platform/bus/message/MessageBytes.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace std::string_literals;

constexpr unsigned CALL = 1, RETURN = 2, ERROR = 3, SIGNAL = 4;
constexpr bool BOTH_ORDERS[] = {false, true};
constexpr const char* CALL_FIELDS = "f1:o s:/a/b f3:s s:m";

std::string times(int count, const std::string& text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

// The check sees a block of exactly the message's size, so that a sanitizer notices any step outside.
const char* ruleOf(const std::uint8_t* bytes, std::size_t size, Header& header) {
  const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[size]);
  std::copy_n(bytes, size, block.get());
  return check(block.get(), size, header);
}

const char* ruleOf(const MessageBytes& message) {
  Header header;
  return ruleOf(message.data(), message.size(), header);
}

struct FieldsCase {
  unsigned type;
  std::string fields;
  const char* rule;
};

struct BodyCase {
  std::string signature;
  std::string body;
  const char* rule;
};

template <std::size_t Count>
void expectRules(const FieldsCase (&cases)[Count]) {
  for (const bool isBig : BOTH_ORDERS) {
    for (const FieldsCase& row : cases) {
      EXPECT_STREQ(ruleOf(MessageBytes(isBig, row.type, row.fields, "")), row.rule)
          << "type " << row.type << ", " << row.fields << ", big endian " << isBig;
    }
  }
}

template <std::size_t Count>
void expectRules(const BodyCase (&cases)[Count]) {
  for (const bool isBig : BOTH_ORDERS) {
    for (const BodyCase& row : cases) {
      EXPECT_STREQ(ruleOf(MessageBytes(isBig, RETURN, "f5:u u9 f8:g g:" + row.signature, row.body)), row.rule)
          << row.signature << ": " << row.body << ", big endian " << isBig;
    }
  }
}

TEST(FixedHeader, IsCheckedByteByByte) {
  const struct {
    std::size_t at;
    unsigned value;
    const char* rule;
  } cases[] = {{0, 'k', Rules::ENDIANNESS}, {0, 'L', Rules::ENDIANNESS}, {1, 0, Rules::TYPE},   {1, 100, nullptr},
               {2, 0xf0, nullptr},          {3, 0, Rules::VERSION},      {3, 2, Rules::VERSION}};
  for (const bool isBig : BOTH_ORDERS) {
    const MessageBytes valid(isBig, CALL, CALL_FIELDS, "");
    for (const auto& row : cases) {
      MessageBytes bytes = valid;
      bytes[row.at] = static_cast<std::uint8_t>(row.value);
      EXPECT_STREQ(ruleOf(bytes), row.rule) << "byte " << row.at << " = " << row.value << ", big endian " << isBig;
    }
    EXPECT_STREQ(ruleOf(MessageBytes(valid).set(8, 0)), Rules::SERIAL);
  }
}

TEST(FixedHeader, DeclaresTheSizeWithinTheLimits) {
  constexpr std::uint32_t FIELDS = 1U << 26, MESSAGE = 1U << 27;
  const struct {
    std::uint32_t fields;
    std::uint32_t body;
    std::size_t size;
    const char* rule;
  } cases[] = {{0, 0, 16, nullptr},
               {1, 1, 25, nullptr},
               {FIELDS, MESSAGE - FIELDS - 16, MESSAGE, nullptr},
               {FIELDS, MESSAGE - FIELDS - 15, 0, Rules::MESSAGE_SIZE},
               {FIELDS + 1, 0, 0, Rules::FIELDS_SIZE},
               {0xffffffff, 0, 0, Rules::FIELDS_SIZE},
               {0, MESSAGE, 0, Rules::MESSAGE_SIZE},
               {0, 0x7fffffff, 0, Rules::MESSAGE_SIZE},
               {8, 0xffffffff, 0, Rules::MESSAGE_SIZE}};
  for (const bool isBig : BOTH_ORDERS) {
    for (const auto& row : cases) {
      MessageBytes bytes(isBig, CALL, "", "");
      const DeclaredSize declared = declaredSize(bytes.set(4, row.body).set(12, row.fields).data());
      EXPECT_STREQ(declared.rule, row.rule) << row.fields << " and " << row.body;
      EXPECT_EQ(declared.size, row.size) << row.fields << " and " << row.body;
    }
  }
}

TEST(Header, HasTheFieldsOfItsType) {
  expectRules({
      {CALL, "f1:o s:/", Rules::CALL_FIELDS},
      {CALL, "f3:s s:m", Rules::CALL_FIELDS},
      {RETURN, "f1:o s:/ f3:s s:m", Rules::RETURN_FIELDS},
      {RETURN, "f5:u u0", Rules::REPLY_SERIAL},
      {ERROR, "f5:u u1 f4:s s:a.b", nullptr},
      {ERROR, "f5:u u1", Rules::ERROR_FIELDS},
      {ERROR, "f4:s s:a.b", Rules::ERROR_FIELDS},
      {SIGNAL, "f1:o s:/ f2:s s:a.b f3:s s:m", nullptr},
      {SIGNAL, "f2:s s:a.b f3:s s:m", Rules::SIGNAL_FIELDS},
      {SIGNAL, "f1:o s:/ f3:s s:m", Rules::SIGNAL_FIELDS},
      {SIGNAL, "f1:o s:/ f2:s s:a.b", Rules::SIGNAL_FIELDS},
      {5, "", nullptr},
  });
}

TEST(Header, RefusesAFieldThatIsWrong) {
  expectRules({
      {CALL, "f0:y y1", Rules::FIELD_CODE},
      {CALL, "f2:u u1", Rules::FIELD_TYPE},
      {CALL, "f2: s:a.b", Rules::FIELD_TYPE},
      {CALL, "f8:s s:y", Rules::FIELD_TYPE},
      {CALL, "f3:s s:m f3:s s:m", Rules::FIELD_TWICE},
      {CALL, "f1:o s:/a/", Rules::PATH},
      {CALL, "f2:s s:a", Rules::INTERFACE},
      {CALL, "f3:s s:m.n", Rules::MEMBER},
      {CALL, "f4:s s:9.a", Rules::ERROR_NAME},
      {CALL, "f6:s s:a", Rules::BUS_NAME},
      {CALL, "f7:s s::1", Rules::BUS_NAME},
      {CALL, "f8:g g:a", Rules::ARRAY_ELEMENT},
      {CALL, "f1:o s:/org/freedesktop/DBus/Local", Rules::RESERVED_PATH},
      {CALL, "f2:s s:org.freedesktop.DBus.Local", Rules::RESERVED_INTERFACE},
      {CALL, "f9:u u1", Rules::FILE_DESCRIPTORS},
      {CALL, "f1:o s:/ f3:s s:m f9:u u0", nullptr},
      {CALL, "f2:s u100 y97 y46 y98 y0", Rules::TEXT_INSIDE},
      {CALL, "y2 y1 y115 y1 s:a.b", Rules::SIGNATURE_NUL},
      {CALL, "y2 y9 y115 y0", Rules::SIGNATURE_INSIDE},
      {CALL, "y2", Rules::FIELDS_END},
      {CALL, "f2:s y3", Rules::FIELDS_END},
      {CALL, "f1:o s:/ f3:s s:m |8 y0", Rules::FIELDS_END},
      {CALL, "f3:s s:m y1 f1:o s:/", Rules::PADDING},
  });
}

TEST(Header, SkipsUnknownFieldsButChecksThem) {
  const std::string call = "f1:o s:/ f3:s s:m f200:";
  expectRules({
      {CALL, call + "a(yv) [8 y1 g:u u1 ]", nullptr},
      {CALL, call + "b u2", Rules::BOOLEAN},
      {CALL, call + "yy y1 y1", Rules::SINGLE_TYPE},
      {CALL, call + "h u0", Rules::FILE_DESCRIPTORS},
      {CALL, call + "v " + times(60, "g:v ") + "g:y y1", nullptr},  // three levels are the header's own
      {CALL, call + "v " + times(61, "g:v ") + "g:y y1", Rules::DEPTH},
  });
}

TEST(Header, IsPaddedToTheBodyWithTheFewestZeros) {
  for (const bool isBig : BOTH_ORDERS) {
    MessageBytes bytes(isBig, CALL, CALL_FIELDS, "");
    EXPECT_STREQ(ruleOf(MessageBytes(bytes).write("t0")), Rules::DECLARED_SIZE);
    bytes[bytes.size() - 1] = 1;
    EXPECT_STREQ(ruleOf(bytes), Rules::HEADER_PADDING);
  }
}

TEST(Body, IsConsumedExactly) {
  EXPECT_STREQ(ruleOf(MessageBytes(false, RETURN, "f5:u u9", "y1")), Rules::BODY_SIGNATURE);
  expectRules({
      {"", "", nullptr},
      {"", "y1", Rules::BODY_LENGTH},
      {"u", "y1 y2 y3", Rules::BODY_LENGTH},
      {"t", "t1 t0", Rules::BODY_LENGTH},
      {"u(u)", "u1", Rules::BODY_LENGTH},
  });
}

TEST(Body, IsPaddedWithZeros) {
  expectRules({
      {"yu", "y1 y1 y0 y0 u2", Rules::PADDING},
      {"yu", "y1 y0 y0 y1 u2", Rules::PADDING},
      {"yt", "y255 y1 y0 y0 y0 y0 y0 y0 t2", Rules::PADDING},
      {"y(y)", "y1 y0 y0 y0 y0 y0 y0 y1 y5", Rules::PADDING},
      {"ys", "y1 y0 y1 y0 s:a", Rules::PADDING},
      {"vu", "g:u y1 u1 u1", Rules::PADDING},
      {"a{yv}", "u13 |8 y1 g:y y1 y0 y0 y1 y2 g:y y2", Rules::PADDING},
  });
}

TEST(Body, IsCheckedValueByValue) {
  expectRules({
      {"b", "u2", Rules::BOOLEAN},
      {"b", "u0xffffffff", Rules::BOOLEAN},
      {"b", "u0x01000000", Rules::BOOLEAN},
      {"ab", "[4 u1 u2 u1 ]", Rules::BOOLEAN},
      {"s", "u0xffffffff y0", Rules::TEXT_INSIDE},
      {"s", "u1 y97", Rules::TEXT_INSIDE},
      {"s", "u1 y97 y98", Rules::TEXT_END},
      {"s", "s:a\0b"s, Rules::TEXT_NUL},
      {"s", "s:\xed\xa0\x80", Rules::TEXT_UTF8},
      {"s", "s:\xef\xbf\xbf", nullptr},
      {"as", "[4 s: s:\xff ]", Rules::TEXT_UTF8},
      {"o", "s:/org/freedesktop/DBus/Local", nullptr},
      {"o", "s:/my-app", Rules::PATH},
      {"g", "g:(i", Rules::BRACKETS},
      {"g", "y1 y117 y117", Rules::SIGNATURE_NUL},
      {"g", "y2 y117 y0", Rules::SIGNATURE_INSIDE},
      {"h", "u0", Rules::FILE_DESCRIPTORS},
      {"ah", "[4 u0 ]", Rules::FILE_DESCRIPTORS},
      {"ah", "[4 ]", nullptr},
      {"v", "g: y1", Rules::SINGLE_TYPE},
      {"v", "g:uu u1 u1", Rules::SINGLE_TYPE},
      {"v", "y1 y121 y1 y1", Rules::SIGNATURE_NUL},
      {"v", "y4 y121 y0 y1", Rules::SIGNATURE_INSIDE},
      {"av", "[1 g:y y1 g:yy y0 y0 ]", Rules::SINGLE_TYPE},
      {"a{yv}", "[8 y1 g:y y1 |8 y2 g:as [4 s: ] ]", nullptr},
  });
}

TEST(Body, IsLimitedInDepthThroughVariants) {
  const auto variants = [](int count) { return times(count - 1, "g:v ") + "g:y y1"; };
  const auto arrays = [](int inner) {
    return "g:" + times(16, "a") + "v " + times(16, "[4 ") + "g:" + times(inner, "a") + "y " + times(inner, "[4 ") +
           times(16 + inner, "] ");
  };
  const auto structures = [](int inner) {
    return "g:" + times(16, "(") + "v" + times(16, ")") + " |8 g:" + times(inner, "(") + "y" + times(inner, ")") +
           " |8 y1";
  };
  expectRules({
      {"v", variants(64), nullptr},
      {"v", variants(65), Rules::DEPTH},
      {"v", arrays(16), nullptr},
      {"v", arrays(17), Rules::ARRAY_DEPTH},
      {"v", structures(16), nullptr},
      {"v", structures(17), Rules::STRUCTURE_DEPTH},
      {"vv", variants(64) + ' ' + variants(64), nullptr},  // what was left no longer counts
      {"vv", arrays(16) + arrays(16), nullptr},
      {"vv", structures(16) + ' ' + structures(16), nullptr},
  });
}

TEST(Array, IsMeasuredInBytes) {
  expectRules({
      {"au", "u6 u1 q1", Rules::ARRAY_MULTIPLE},
      {"at", "u0 |8", nullptr},
      {"uat", "u1 u0", nullptr},
      {"at", "u0", Rules::ARRAY_INSIDE},
      {"at", "u0 u1", Rules::PADDING},
      {"at", "u12 u0 t1", Rules::ARRAY_INSIDE},
      {"a(yt)u", "u0 |8 u1", nullptr},
      {"ay", "u2 y1", Rules::ARRAY_INSIDE},
      {"ay", "u0x4000000", Rules::ARRAY_INSIDE},
      {"ay", "u0x4000001", Rules::ARRAY_LENGTH},
      {"ay", "u0xffffffff", Rules::ARRAY_LENGTH},
      {"a(yu)", "u6 |8 y1 u1", Rules::ARRAY_END},
      {"a(yu)", "u12 |8 y1 u1 u0", Rules::ARRAY_END},
      {"a(yy)", "u10 |8 y1 y2 |8 y3 y4", nullptr},
      {"asu", "u5 s:a u1", Rules::TEXT_INSIDE},
      {"aay", "u5 u2 y1 y2", Rules::ARRAY_INSIDE},
      {"aayy", "u13 u1 y1 u0 u1 y1 y9", Rules::ARRAY_END},
      {"aayy", "u12 u1 y1 u0 y9", nullptr},
      {"aa(y)y", "[4 [8 y1 |8 y2 ] [8 ] ] y9", nullptr},
  });
}

// A message with every header field and every kind of value.
MessageBytes fullMessage(bool isBig) {
  return {isBig, CALL,
          "f1:o s:/a/b f3:s s:m f2:s s:a.b f4:s s:c.d f5:u u3 f6:s s:e.f f7:s s::1.5 f8:g g:ybqitdsogvaba(yay)a{sv}",
          "y1 u1 q2 u3 t4 t5 s:\xe2\x82\xac s:/a g:a{sv} g:(uv) |8 u6 g:as [4 s:x s: ] [4 u0 u1 ] "
          "[8 y7 [1 y1 y2 y3 ] |8 y8 [1 ] ] [8 s:k g:y y9 |8 s:l g:d t10 ]"};
}

TEST(Message, IsReadAlikeInBothOrdersAndWhenTrusted) {
  constexpr bool NATIVE_IS_BIG = std::endian::native == std::endian::big;
  const MessageBytes native = fullMessage(NATIVE_IS_BIG);
  const MessageBytes swapped = fullMessage(!NATIVE_IS_BIG);
  Header headers[3];
  ASSERT_STREQ(ruleOf(native.data(), native.size(), headers[0]), nullptr);
  ASSERT_STREQ(ruleOf(swapped.data(), swapped.size(), headers[1]), nullptr);
  readTrustedHeader(native.data(), native.size(), headers[2]);
  EXPECT_TRUE(headers[1].swapped);
  for (const Header& header : headers) {
    EXPECT_EQ(header.type, CALL);
    EXPECT_EQ(header.serial, 7U);
    EXPECT_EQ(header.replySerial, 3U);
    EXPECT_EQ(header.bodyOffset + header.bodyLength, native.size());
    for (std::size_t code = 1; code <= 8; ++code) {
      EXPECT_EQ(header.texts[code].offset, headers[0].texts[code].offset) << code;
      EXPECT_EQ(header.texts[code].length, headers[0].texts[code].length) << code;
    }
  }
}

TEST(Message, IsRefusedWhenItIsCutOrTooLong) {
  for (const bool isBig : BOTH_ORDERS) {
    MessageBytes bytes = fullMessage(isBig);
    Header header;
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      EXPECT_STREQ(ruleOf(bytes.data(), size, header), Rules::DECLARED_SIZE) << size;
    }
    EXPECT_STREQ(ruleOf(MessageBytes(bytes).write("y0")), Rules::DECLARED_SIZE);

    // The same with a header that says so: the values are what does not fit.
    ASSERT_STREQ(ruleOf(bytes.data(), bytes.size(), header), nullptr);
    const std::size_t body = header.bodyOffset;
    for (std::uint32_t length = 0; body + length < bytes.size(); ++length) {
      EXPECT_STRNE(ruleOf(bytes.set(4, length).data(), body + length, header), nullptr) << length;
    }
  }
}

// Whatever passes in spite of a changed byte must still be safe to read; the sanitizers watch the check itself.
TEST(Message, StaysInsideItsBoundsWithAnyByteChanged) {
  for (const bool isBig : BOTH_ORDERS) {
    const MessageBytes bytes = fullMessage(isBig);
    const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[bytes.size()]);
    std::copy_n(bytes.data(), bytes.size(), block.get());
    for (std::size_t at = 0; at < bytes.size(); ++at) {
      for (unsigned value = 0; value < 256; ++value) {
        block[at] = static_cast<std::uint8_t>(value);
        Header header;
        if (check(block.get(), bytes.size(), header)) continue;
        ASSERT_EQ(header.bodyOffset + header.bodyLength, bytes.size()) << at << " = " << value;
        for (const Header::Text& text : header.texts) {
          if (text.offset == 0) continue;
          ASSERT_LT(text.offset + text.length, header.bodyOffset) << at << " = " << value;
          ASSERT_EQ(block[text.offset + text.length], 0) << at << " = " << value;
        }
      }
      block[at] = bytes.data()[at];
    }
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Message
