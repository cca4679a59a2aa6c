// Every rule that a received message must satisfy: what is refused and for which rule, and what only looks wrong.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>

#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/internal/Rules.h>
#include <tests/platform/bus/message/MessageBytes.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace Rules;
using namespace std::string_literals;

constexpr unsigned CALL = 1, RETURN = 2;
constexpr bool BOTH_ORDERS[] = {false, true};
constexpr const char* VALID = nullptr;

std::string times(int count, const std::string& text) { return count > 0 ? text + times(count - 1, text) : ""; }

// The check sees a block of exactly the message's size, so that a sanitizer notices any step outside.
const char* ruleOf(const MessageBytes& message, std::size_t size, Header& header) {
  const std::unique_ptr<std::uint8_t[]> block(new std::uint8_t[size]);
  std::copy_n(message.data(), size, block.get());
  return check(block.get(), size, header);
}

const char* ruleOf(const MessageBytes& message) {
  Header header;
  return ruleOf(message, message.size(), header);
}

// Each row is the type of a message and its header fields, or a signature and the body.
void expect(const char* rule, std::initializer_list<std::string> rows) {
  for (const bool isBig : BOTH_ORDERS) {
    for (const std::string& row : rows) {
      const std::size_t space = row.find(' ');
      const std::string first = row.substr(0, space), rest = row.substr(space + 1);
      const bool isHeader = first >= "1" && first <= "9";
      const MessageBytes message = isHeader ? MessageBytes(isBig, static_cast<unsigned>(first[0] - '0'), rest, "")
                                            : MessageBytes(isBig, RETURN, "f5:u u9 f8:g g:" + first, rest);
      EXPECT_STREQ(ruleOf(message), rule) << row << ", big endian " << isBig;
    }
  }
}

TEST(FixedHeader, IsCheckedByteByByte) {
  const struct {
    std::size_t at;
    unsigned value;
    const char* rule;
  } rows[] = {{0, 'k', ENDIANNESS}, {0, 'L', ENDIANNESS}, {1, 0, TYPE},    {1, 100, VALID},
              {2, 0xf0, VALID},     {3, 0, VERSION},      {3, 2, VERSION}, {31, 1, HEADER_PADDING}};
  for (const bool isBig : BOTH_ORDERS) {
    const MessageBytes valid(isBig, CALL, "f1:o s:/a/b f3:s s:m", "");
    for (const auto& row : rows) {
      MessageBytes bytes = valid;
      bytes[row.at == 31 ? valid.size() - 1 : row.at] = static_cast<std::uint8_t>(row.value);
      EXPECT_STREQ(ruleOf(bytes), row.rule) << "byte " << row.at << " = " << row.value << ", big endian " << isBig;
    }
    EXPECT_STREQ(ruleOf(MessageBytes(valid).set(8, 0)), SERIAL);
    EXPECT_STREQ(ruleOf(MessageBytes(valid).write("t0")), DECLARED_SIZE);  // the padding is minimal
  }
}

TEST(FixedHeader, DeclaresTheSizeWithinTheLimits) {
  constexpr std::uint32_t FIELDS = 1U << 26, MESSAGE = 1U << 27;
  const struct {
    std::uint32_t fields, body;
    std::size_t size;
    const char* rule;
  } rows[] = {{1, 1, 25, VALID},
              {FIELDS, MESSAGE - FIELDS - 16, MESSAGE, VALID},
              {FIELDS, MESSAGE - FIELDS - 15, 0, MESSAGE_SIZE},
              {FIELDS + 1, 0, 0, FIELDS_SIZE},
              {0xffffffff, 0, 0, FIELDS_SIZE},
              {8, 0xffffffff, 0, MESSAGE_SIZE}};
  for (const bool isBig : BOTH_ORDERS) {
    for (const auto& row : rows) {
      const DeclaredSize declared =
          declaredSize(MessageBytes(isBig, CALL, "", "").set(4, row.body).set(12, row.fields).data());
      EXPECT_STREQ(declared.rule, row.rule) << row.fields << " and " << row.body;
      EXPECT_EQ(declared.size, row.size) << row.fields << " and " << row.body;
    }
  }
}

TEST(Header, HasTheFieldsOfItsTypeAndNoneThatIsWrong) {
  expect(CALL_FIELDS, {"1 f1:o s:/", "1 f3:s s:m"});
  expect(RETURN_FIELDS, {"2 f1:o s:/ f3:s s:m"});
  expect(ERROR_FIELDS, {"3 f5:u u1", "3 f4:s s:a.b"});
  expect(SIGNAL_FIELDS, {"4 f2:s s:a.b f3:s s:m", "4 f1:o s:/ f3:s s:m", "4 f1:o s:/ f2:s s:a.b"});
  expect(FIELD_CODE, {"5 f0:y y1"});
  expect(FIELD_TYPE, {"5 f3:u u1", "5 f2: s:a.b", "5 f8:s s:y", "5 f10:u u1"});
  expect(FIELD_TWICE, {"5 f3:s s:m f3:s s:m", "5 f10:o s:/ f10:o s:/"});
  expect(REPLY_SERIAL, {"2 f5:u u0", "5 f5:u u0"});
  expect(PATH, {"5 f1:o s:/a/"});
  expect(INTERFACE, {"5 f2:s s:a"});
  expect(MEMBER, {"5 f3:s s:m.n"});
  expect(ERROR_NAME, {"5 f4:s s:9.a"});
  expect(BUS_NAME, {"5 f6:s s:a", "5 f7:s s::1."});
  expect(ARRAY_ELEMENT, {"5 f8:g g:a"});
  expect(RESERVED_PATH, {"5 f1:o s:/org/freedesktop/DBus/Local", "5 f1:o s:/org/freedesktop/DBus/Localhost"});
  expect(RESERVED_INTERFACE, {"5 f2:s s:org.freedesktop.DBus.Local", "5 f2:s s:org.freedesktop.DBus.Local.Host"});
  expect(FILE_DESCRIPTORS, {"5 f9:u u1", "5 f200:h u0"});
  expect(TEXT_INSIDE, {"5 f2:s u100 y97 y46 y98 y0"});
  expect(SIGNATURE_NUL, {"5 y2 y1 y115 y1 s:a.b"});
  expect(SIGNATURE_INSIDE, {"5 y2 y9 y115 y0"});
  expect(FIELDS_END, {"5 y2", "5 f2:s y3", "5 f3:s s:m |8 y0"});
  expect(PADDING, {"5 f3:s s:m y1 f1:o s:/"});
  expect(BOOLEAN, {"5 f200:b u2"});
  expect(SINGLE_TYPE, {"5 f200:yy y1 y1"});
  expect(DEPTH, {"5 f200:v " + times(61, "g:v ") + "g:y y1"});  // three levels are the header's own
  expect(VALID, {"1 f1:o s:/ f3:s s:m", "2 f5:u u1", "3 f5:u u1 f4:s s:a.b", "4 f1:o s:/ f2:s s:a.b f3:s s:m", "5 ",
                 "5 f4:s s:org.freedesktop.DBus.Local", "5 f9:u u0", "5 f7:s s::1", "5 f10:o s:/", "5 f11:u u0",
                 "5 f200:v " + times(60, "g:v ") + "g:y y1", "5 f200:a(yv) [8 y1 g:u u1 ]"});
}

TEST(Body, IsConsumedExactlyWithZerosBetween) {
  EXPECT_STREQ(ruleOf(MessageBytes(false, RETURN, "f5:u u9", "y1")), BODY_SIGNATURE);
  expect(BODY_LENGTH, {" y1", "u y1 y2 y3", "t t1 t0", "u(u) u1", "y y1 y2"});
  expect(PADDING, {"yu y1 y1 y0 y0 u2", "yu y1 y0 y0 y1 u2", "yt y255 y1 y0 y0 y0 y0 y0 y0 t2", "ys y1 y0 y1 y0 s:a",
                   "y(y) y1 y0 y0 y0 y0 y0 y0 y1 y5", "vu g:u y1 u1 u1", "at u0 u1",
                   "a{yv} u13 |8 y1 g:y y1 y0 y0 y1 y2 g:y y2"});
  expect(VALID, {" "});
}

TEST(Body, IsCheckedValueByValue) {
  expect(BOOLEAN, {"b u2", "b u0xffffffff", "b u0x01000000", "ab [4 u1 u2 u1 ]"});
  expect(TEXT_INSIDE, {"s u0xffffffff y0", "s u1 y97", "asu u5 s:a u1"});
  expect(TEXT_END, {"s u1 y97 y98"});
  expect(TEXT_NUL, {"s s:a\0b"s});
  expect(TEXT_UTF8, {"s s:\xed\xa0\x80", "as [4 s: s:\xff ]"});
  expect(PATH, {"o s:/my-app"});
  expect(BRACKETS, {"g g:(i"});
  expect(SIGNATURE_NUL, {"g y1 y117 y117", "v y1 y121 y1 y1"});
  expect(SIGNATURE_INSIDE, {"g y2 y117 y0", "v y4 y121 y0 y1"});
  expect(FILE_DESCRIPTORS, {"h u0", "ah [4 u0 ]"});
  expect(SINGLE_TYPE, {"v g: y1", "v g:uu u1 u1", "av [1 g:y y1 g:yy y0 y0 ]"});
  expect(VALID,
         {"s s:\xef\xbf\xbf", "o s:/org/freedesktop/DBus/Local", "ah [4 ]", "a{yv} [8 y1 g:y y1 |8 y2 g:as [4 s: ] ]"});
}

TEST(Body, IsLimitedInDepthThroughVariants) {
  const auto variants = [](int count, const std::string& inmost = "g:y y1") {
    return times(count - 1, "g:v ") + inmost;
  };
  const auto structures = [](int outer, int inner) {
    return times(outer, "(") + "v" + times(outer, ")") + " g:" + times(inner, "(") + "y" + times(inner, ")") + " |8 y1";
  };
  const std::string arrays = "v g:" + times(16, "a") + "v " + times(16, "[4 ") + "g:" + times(17, "a") + "y " +
                             times(17, "[4 ") + times(32, "] ") + ']';
  const std::string entries = times(32, "(a{y") + "y" + times(32, "})");
  expect(VALID, {"v " + variants(64), "vv " + variants(64) + ' ' + variants(64), structures(31, 32), arrays,
                 // An array is a level of what is in it, and one of numbers is never entered.
                 "v " + variants(64, "g:ay [1 y1 ]"), "v " + variants(64, "g:aas [4 ]"), entries + " [8 ]"});
  expect(DEPTH, {"v " + variants(65), structures(32, 32), "v " + variants(64, "g:(y) |8 y1"),
                 "v " + variants(64, "g:as [4 s: ]"), entries + times(31, " [8 y1 |8") + times(31, " ]")});
  expect(ARRAY_DEPTH, {"v g:" + times(33, "a") + "y [4 ]"});
  expect(STRUCTURE_DEPTH, {"v g:" + times(33, "(") + "y" + times(33, ")") + " |8 y1"});
}

TEST(Array, IsMeasuredInBytes) {
  expect(ARRAY_MULTIPLE, {"au u6 u1 q1"});
  expect(ARRAY_INSIDE, {"at u0", "at u12 u0 t1", "ay u2 y1", "ay u0x4000000", "aay u5 u2 y1 y2"});
  expect(ARRAY_LENGTH, {"ay u0x4000001", "ay u0xffffffff"});
  expect(ARRAY_END, {"a(yu) u6 |8 y1 u1", "a(yu) u12 |8 y1 u1 u0", "aayy u13 u1 y1 u0 y1 y1 y9"});
  expect(VALID, {"at u0 |8", "uat u1 u0", "a(yt)u u0 |8 u1", "a(yy) u10 |8 y1 y2 |8 y3 y4", "aayy u12 u1 y1 u0 y9",
                 "aa(y)y [4 [8 y1 |8 y2 ] [8 ] ] y9"});
}

// A message with every header field and every kind of value.
MessageBytes fullMessage(bool isBig) {
  return {isBig, CALL,
          "f1:o s:/a/b f3:s s:m f2:s s:a.b f4:s s:c.d f5:u u3 f6:s s:e.f f7:s s::1.5 f8:g g:ybqitdsogvaba(yay)a{sv}",
          "y1 u1 q2 u3 t4 t5 s:\xe2\x82\xac s:/a g:a{sv} g:(uv) |8 u6 g:as [4 s:x s: ] [4 u0 u1 ] "
          "[8 y7 [1 y1 y2 y3 ] |8 y8 [1 ] ] [8 s:k g:y y9 |8 s:l g:d t10 ]"};
}

TEST(Message, IsRefusedWhenItIsCutOrTooLong) {
  for (const bool isBig : BOTH_ORDERS) {
    MessageBytes bytes = fullMessage(isBig);
    Header header;
    for (std::size_t size = 0; size < bytes.size(); ++size)
      EXPECT_STREQ(ruleOf(bytes, size, header), DECLARED_SIZE) << size;
    EXPECT_STREQ(ruleOf(MessageBytes(bytes).write("y0")), DECLARED_SIZE);

    // The same with a header that says so: the values are what does not fit.
    ASSERT_STREQ(ruleOf(bytes, bytes.size(), header), VALID);
    EXPECT_EQ(header.swapped, isBig != (std::endian::native == std::endian::big));
    Header trusted;
    if (!header.swapped) readTrustedHeader(bytes.data(), bytes.size(), trusted);
    for (std::size_t code = 1; code <= 8 && !header.swapped; ++code)
      EXPECT_EQ(trusted.texts[code].offset, header.texts[code].offset) << code;
    const std::size_t body = header.bodyOffset;
    for (std::uint32_t length = 0; body + length < bytes.size(); ++length)
      EXPECT_STRNE(ruleOf(bytes.set(4, length), body + length, header), VALID) << length;
  }
}

TEST(Message, IsCheckedAloneOrBehindOneThatItNearlyRepeats) {
  for (const bool isBig : BOTH_ORDERS) {
    MessageBytes first = fullMessage(isBig);
    for (const unsigned type : {CALL, RETURN}) {
      first[1] = static_cast<std::uint8_t>(type);
      for (std::size_t at = 0; at < first.size(); ++at) {
        for (const unsigned bits : {0x00U, 0x01U, 0x80U, 0xffU}) {
          MessageBytes next = first;
          next[at] = static_cast<std::uint8_t>(next[at] ^ bits);
          Checker checker;
          Header header, expected;
          ASSERT_STREQ(checker.check(first.data(), first.size(), header), VALID);
          ASSERT_STREQ(checker.check(next.data(), next.size(), header), ruleOf(next, next.size(), expected)) << at;
          if (ruleOf(next)) continue;
          const auto facts = [](const Header& h) {
            return std::tuple(h.type, h.flags, h.swapped, h.serial, h.replySerial, h.bodyOffset, h.bodyLength,
                              h.text(Field::PATH).offset, h.text(Field::SIGNATURE).length);
          };
          EXPECT_EQ(facts(header), facts(expected)) << at;
        }
      }
    }
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Message
