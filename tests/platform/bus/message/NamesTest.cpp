// What counts as a path, a name, a text, a signature.
#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

#include <platform/bus/message/internal/Names.h>
#include <platform/bus/message/internal/Rules.h>
#include <platform/bus/message/internal/Signature.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace std::string_literals;
using Check = const char* (*)(std::string_view) noexcept;

constexpr const char* VALID = nullptr;

void expectRule(Check check, const char* rule, std::initializer_list<std::string> texts) {
  for (const std::string& text : texts) EXPECT_STREQ(check(text), rule) << testing::PrintToString(text);
}

TEST(Names, FollowTheirSyntax) {
  expectRule(checkPath, VALID, {"/", "/a", "/_0/Z9", "/" + std::string(300, 'a')});
  expectRule(checkPath, Rules::PATH, {"", "//", "/a/", "a", "/a//b", "/my-app", "/a.b", "/a\0"s, "/\xc3\xa4"});
  expectRule(checkMessagePath, Rules::RESERVED_PATH, {"/org/freedesktop/DBus/Local", "/org/freedesktop/DBus/Local/a"});
  for (const Check check : {checkInterface, checkErrorName}) {
    expectRule(check, VALID, {"a.b", "_a.B9._", "a." + std::string(253, 'b')});
    expectRule(check, check == Check{checkInterface} ? Rules::INTERFACE : Rules::ERROR_NAME,
               {"", "a", "a..b", ".a.b", "a.b.", "9a.b", "a.9b", "a-b.c", "a.b\0"s, "a." + std::string(254, 'b')});
  }
  expectRule(checkMember, VALID, {"a", "_9", std::string(255, 'a')});
  expectRule(checkMember, Rules::MEMBER, {"", "a.b", "a.", "9a", "a-b", "a\0"s, std::string(256, 'a')});
  expectRule(checkBusName, VALID,
             {"a-b.c", "-a._b", ":1.0", ":a.9.-", ":", ":1", ":.a", ":1." + std::string(252, '0')});
  expectRule(checkBusName, Rules::BUS_NAME,
             {"", ":1.", ":.", ":1..0", "::1", ".a.b", "a", "1.a", "a.1", "a:.b", ":1." + std::string(253, '0')});
}

TEST(Text, IsStrictUtf8) {
  expectRule(checkText, VALID,
             {"", "\x7f", "\xc2\x80\xdf\xbf", "\xe0\xa0\x80", "\xed\x9f\xbf\xee\x80\x80", "\xef\xbf\xbf",
              "\xf0\x90\x80\x80", "\xf4\x8f\xbf\xbf"});
  expectRule(
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
      expectRule(checkText, Rules::TEXT_NUL, {text});
      text[place] = '\x80';
      expectRule(checkText, Rules::TEXT_UTF8, {text});
      expectRule(checkText, VALID, {text.replace(place, 1, "\xe2\x82\xac")});
    }
  }
}

TEST(Signature, IsASequenceOfCompleteTypes) {
  const auto nested = [](std::size_t count, const std::string& opening, const std::string& inmost, char closing) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i) all += opening;
    return all + inmost + std::string(count, closing);
  };
  expectRule(checkSignature, VALID,
             {"", "ybnqiuxtdhsogv", "a(uyqyayayaytyuuyqqyyyyyqb)", "a{sv}aa{s(ia{yv})}v", std::string(255, 'y'),
              std::string(32, 'a') + 'y', nested(32, "(", "y", ')'), nested(32, "a(", "y", ')'),
              nested(32, "a{y", "(y)", '}')});
  expectRule(checkSignature, Rules::SIGNATURE_LENGTH, {std::string(256, 'y')});
  expectRule(checkSignature, Rules::TYPE_CODE, {"r", "e", "m", "*", "y\0"s, "\xf9"});
  expectRule(checkSignature, Rules::ARRAY_ELEMENT, {"a", "(a)", "a{sa}"});
  expectRule(checkSignature, Rules::EMPTY_STRUCTURE, {"()"});
  expectRule(checkSignature, Rules::BRACKETS, {"(i", "i)", "(i}", "a{i(i})"});
  expectRule(checkSignature, Rules::ENTRY_PLACE, {"{is}", "({i)}", "a{s{is}}"});
  expectRule(checkSignature, Rules::ENTRY_FIELDS, {"a{}", "a{i}", "a{isi}"});
  expectRule(checkSignature, Rules::ENTRY_KEY, {"a{(ii)i}", "a{vi}"});
  expectRule(checkSignature, Rules::ARRAY_DEPTH, {std::string(33, 'a') + 'y'});
  expectRule(checkSignature, Rules::STRUCTURE_DEPTH, {nested(33, "(", "y", ')')});
  expectRule(checkSingleType, VALID, {"y", "v", "a{s(iv)}", "((y)u)"});
  expectRule(checkSingleType, Rules::SINGLE_TYPE, {"", "uu", "yay", "(y)(y)"});
  expectRule(checkSingleType, Rules::BRACKETS, {"("});
}

}  // namespace
}  // namespace Quarnix::Bus::Message
