// What counts as a path, a name, a text, a signature.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/Rules.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace Rules;
using namespace std::string_literals;
using Check = const char* (*)(std::string_view) noexcept;

constexpr const char* VALID = nullptr;

void expect(Check check, const char* rule, std::initializer_list<std::string> texts) {
  for (const std::string& text : texts) EXPECT_STREQ(check(text), rule) << testing::PrintToString(text);
}

TEST(Names, FollowTheirSyntax) {
  expect(checkPath, VALID, {"/", "/a", "/_0/Z9", "/" + std::string(300, 'a')});
  expect(checkPath, PATH, {"", "//", "/a/", "a", "/a//b", "/my-app", "/a.b", "/a\0"s, "/\xc3\xa4"});
  expect(checkMessagePath, RESERVED_PATH, {"/org/freedesktop/DBus/Local", "/org/freedesktop/DBus/Local/a"});
  for (const Check check : {checkInterface, checkErrorName}) {
    expect(check, VALID, {"a.b", "_a.B9._", "a." + std::string(253, 'b')});
    expect(check, check == Check{checkInterface} ? INTERFACE : ERROR_NAME,
           {"", "a", "a..b", ".a.b", "a.b.", "9a.b", "a.9b", "a-b.c", "a.b\0"s, "a." + std::string(254, 'b')});
  }
  expect(checkMember, VALID, {"a", "_9", std::string(255, 'a')});
  expect(checkMember, MEMBER, {"", "a.b", "a.", "9a", "a-b", "a\0"s, std::string(256, 'a')});
  expect(checkBusName, VALID, {"a-b.c", "-a._b", ":1.0", ":a.9.-", ":", ":1", ":.a", ":1." + std::string(252, '0')});
  expect(checkBusName, BUS_NAME,
         {"", ":1.", ":.", ":1..0", "::1", ".a.b", "a", "1.a", "a.1", "a:.b", ":1." + std::string(253, '0')});
}

TEST(Text, IsStrictUtf8) {
  expect(checkText, VALID,
         {"", "\x7f", "\xc2\x80\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf\xee\x80\x80", "\xef\xbf\xbf",
          "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"});
  expect(
      checkText, TEXT_UTF8,
      {"\x80", "\xff", "\xc0\x80", "\xc1\xbf", "\xc2", "\xc2 ", "\xc2\xc2", "\xe0\x9f\xbf", "\xe2\x82", "\xe2\x82 ",
       "\xed\xa0\x80", "\xf0\x8f\xbf\xbf", "\xf0\x90\x80", "\xf0\x90\x80\xc0", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80"});
}

// Eight bytes are looked at together, so a fault must be seen at each place of texts of every length around that.
TEST(Text, IsCheckedAtEveryPlace) {
  for (std::size_t length = 1; length <= 26; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      std::string text(length, 'a');
      text[place] = '\0';
      expect(checkText, TEXT_NUL, {text});
      text[place] = '\x80';
      expect(checkText, TEXT_UTF8, {text});
      expect(checkText, VALID, {text.replace(place, 1, "\xe2\x82\xac")});
    }
  }
}

TEST(Signature, IsASequenceOfCompleteTypes) {
  const auto nested = [](std::size_t count, const std::string& opening, std::string inmost, char closing) {
    for (std::size_t i = 0; i < count; ++i) inmost = opening + inmost + closing;
    return inmost;
  };
  expect(checkSignature, VALID,
         {"", "ybnqiuxtdhsogv", "a(uyqyayayaytyuuyqqyyyyyqb)", "a{sv}aa{s(ia{yv})}v", std::string(255, 'y'),
          std::string(32, 'a') + 'y', nested(32, "(", "y", ')'), nested(32, "a(", "y", ')'),
          nested(32, "a{y", "(y)", '}')});
  expect(checkSignature, SIGNATURE_LENGTH, {std::string(256, 'y')});
  expect(checkSignature, TYPE_CODE, {"r", "e", "m", "*", "y\0"s, "\xf9"});
  expect(checkSignature, ARRAY_ELEMENT, {"a", "(a)", "a{sa}"});
  expect(checkSignature, EMPTY_STRUCTURE, {"()"});
  expect(checkSignature, BRACKETS, {"(i", "i)", "(i}", "a{i(i})"});
  expect(checkSignature, ENTRY_PLACE, {"{is}", "({i)}", "a{s{is}}"});
  expect(checkSignature, ENTRY_FIELDS, {"a{}", "a{i}", "a{isi}"});
  expect(checkSignature, ENTRY_KEY, {"a{(ii)i}", "a{vi}"});
  expect(checkSignature, ARRAY_DEPTH, {std::string(33, 'a') + 'y'});
  expect(checkSignature, STRUCTURE_DEPTH, {nested(33, "(", "y", ')')});
  expect(checkSingleType, VALID, {"y", "v", "a{s(iv)}", "((y)u)"});
  expect(checkSingleType, SINGLE_TYPE, {"", "uu", "yay", "(y)(y)"});
}

}  // namespace
}  // namespace Quarnix::Bus::Message
