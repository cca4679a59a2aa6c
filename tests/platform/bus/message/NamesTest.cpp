// What counts as a path, a name, a text, a signature, and what the application is told when it gives something else.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include <platform/bus/Error.h>
#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/Rules.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace std::string_literals;
using Check = const char* (*)(std::string_view) noexcept;

void expectValid(Check check, std::initializer_list<std::string> texts) {
  for (const std::string& text : texts) EXPECT_STREQ(check(text), nullptr) << testing::PrintToString(text);
}

void expectBroken(Check check, const char* rule, std::initializer_list<std::string> texts) {
  for (const std::string& text : texts) EXPECT_STREQ(check(text), rule) << testing::PrintToString(text);
}

TEST(Names, FollowTheirSyntax) {
  expectValid(checkPath, {"/", "/a", "/_0/Z9", "/" + std::string(300, 'a')});
  expectBroken(checkPath, Rules::PATH, {"", "//", "/a/", "a", "/a//b", "/my-app", "/a.b", "/a\0"s, "/\xc3\xa4"});
  expectBroken(checkMessagePath, Rules::RESERVED_PATH,
               {"/org/freedesktop/DBus/Local", "/org/freedesktop/DBus/Local/a"});

  for (const Check check : {checkInterface, checkErrorName}) {
    expectValid(check, {"a.b", "_a.B9._", "a." + std::string(253, 'b')});
    expectBroken(check, check == Check{checkInterface} ? Rules::INTERFACE : Rules::ERROR_NAME,
                 {"", "a", "a..b", ".a.b", "a.b.", "9a.b", "a.9b", "a-b.c", "a.b\0"s, "a." + std::string(254, 'b')});
  }

  expectValid(checkMember, {"a", "_9", std::string(255, 'a')});
  expectBroken(checkMember, Rules::MEMBER, {"", "a.b", "a.", "9a", "a-b", "a\0"s, std::string(256, 'a')});

  expectValid(checkBusName, {"a-b.c", "-a._b", ":1.0", ":a.9.-", ":", ":1", ":.a", ":1." + std::string(252, '0')});
  expectBroken(checkBusName, Rules::BUS_NAME,
               {"", ":1.", ":.", ":1..0", "::1", ".a.b", "a", "1.a", "a.1", "a:.b", ":1." + std::string(253, '0')});
}

TEST(Text, IsStrictUtf8) {
  expectValid(checkText, {"", "\x7f", "\xc2\x80\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf\xee\x80\x80", "\xef\xbf\xbf",
                          "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"});
  expectBroken(
      checkText, Rules::TEXT_UTF8,
      {"\x80", "\xff", "\xc0\x80", "\xc1\xbf", "\xc2", "\xc2 ", "\xc2\xc2", "\xe0\x9f\xbf", "\xe2\x82", "\xe2\x82 ",
       "\xed\xa0\x80", "\xf0\x8f\xbf\xbf", "\xf0\x90\x80", "\xf0\x90\x80\xc0", "\xf4\x90\x80\x80", "\xf5\x80\x80\x80"});
}

// Eight bytes are looked at together, so a fault must be seen at each place of texts of every length around that.
TEST(Text, IsCheckedAtEveryPlace) {
  for (std::size_t length = 1; length <= 26; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      std::string text(length, 'a');
      text[place] = '\0';
      EXPECT_STREQ(checkText(text), Rules::TEXT_NUL) << length << " bytes, at " << place;
      text[place] = '\x80';
      EXPECT_STREQ(checkText(text), Rules::TEXT_UTF8) << length << " bytes, at " << place;
      text.replace(place, 1, "\xe2\x82\xac");
      EXPECT_EQ(checkText(text), nullptr) << length << " bytes, at " << place;
    }
  }
}

TEST(Signature, IsASequenceOfCompleteTypes) {
  const auto nested = [](std::size_t count, const std::string& opening, const std::string& inmost, char closing) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += opening;
    return all + inmost + std::string(count, closing);
  };
  expectValid(checkSignature, {"", "ybnqiuxtdhsogv", "a(uyqyayayaytyuuyqqyyyyyqb)", "a{sv}aa{s(ia{yv})}v",
                               std::string(255, 'y'), std::string(32, 'a') + 'y', nested(32, "(", "y", ')'),
                               nested(32, "a(", "y", ')'), nested(32, "a{y", "(y)", '}')});
  expectBroken(checkSignature, Rules::SIGNATURE_LENGTH, {std::string(256, 'y')});
  expectBroken(checkSignature, Rules::TYPE_CODE, {"r", "e", "m", "*", "y\0"s, "\xf9"});
  expectBroken(checkSignature, Rules::ARRAY_ELEMENT, {"a", "(a)", "a{sa}"});
  expectBroken(checkSignature, Rules::EMPTY_STRUCTURE, {"()"});
  expectBroken(checkSignature, Rules::BRACKETS, {"(i", "i)", "(i}", "a{i(i})"});
  expectBroken(checkSignature, Rules::ENTRY_PLACE, {"{is}", "({i)}", "a{s{is}}"});
  expectBroken(checkSignature, Rules::ENTRY_FIELDS, {"a{}", "a{i}", "a{isi}"});
  expectBroken(checkSignature, Rules::ENTRY_KEY, {"a{(ii)i}", "a{vi}"});
  expectBroken(checkSignature, Rules::ARRAY_DEPTH, {std::string(33, 'a') + 'y'});
  expectBroken(checkSignature, Rules::STRUCTURE_DEPTH, {nested(33, "(", "y", ')')});
  expectValid(checkSingleType, {"y", "v", "a{s(iv)}", "((y)u)"});
  expectBroken(checkSingleType, Rules::SINGLE_TYPE, {"", "uu", "yay", "(y)(y)"});
  expectBroken(checkSingleType, Rules::BRACKETS, {"("});
}

TEST(Require, NamesTheValueAndWhatWasExpected) {
  EXPECT_NO_THROW(require(nullptr, "object path", "/a"));
  const auto told = [](const std::string& value) {
    try {
      require(Rules::PATH, "object path", value);
    } catch (const InvalidArgument& error) {
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_EQ(told("/a\n\xff"), "object path '/a\\x0a\\xff': expected "s + Rules::PATH);
  EXPECT_EQ(told(std::string(9999, 'a')),
            "object path '" + std::string(300, 'a') + "... (9999 bytes)': expected " + Rules::PATH);
}

}  // namespace
}  // namespace Quarnix::Bus::Message
