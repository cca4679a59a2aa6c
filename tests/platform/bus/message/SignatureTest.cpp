// Which signatures are well formed, and where their types end.
#include <gtest/gtest.h>

#include <string>

#include <platform/bus/message/Depth.h>
#include <platform/bus/message/Rules.h>
#include <platform/bus/message/Signature.h>

namespace Quarnix::Bus::Message {
namespace {

using namespace std::string_literals;

std::string times(int count, const std::string& text) {
  std::string all;
  while (count-- > 0) all += text;
  return all;
}

TEST(Signature, IsASequenceOfCompleteTypes) {
  const struct {
    std::string signature;
    const char* rule;
  } cases[] = {
      {"", nullptr},
      {"ybnqiuxtdhsogv", nullptr},
      {"a(uyqyayayaytyuuyqqyyyyyqb)", nullptr},
      {"(o)(s)a(utbuviiyisusuyy)", nullptr},
      {"a{sv}aa{s(ia{yv})}v", nullptr},
      {"a{s(aa)}", Rules::ARRAY_ELEMENT},
      {times(255, "y"), nullptr},
      {times(256, "y"), Rules::SIGNATURE_LENGTH},
      {"r", Rules::TYPE_CODE},
      {"e", Rules::TYPE_CODE},
      {"m", Rules::TYPE_CODE},
      {"*", Rules::TYPE_CODE},
      {"y\0"s, Rules::TYPE_CODE},
      {"\xf9", Rules::TYPE_CODE},
      {"a", Rules::ARRAY_ELEMENT},
      {"ya", Rules::ARRAY_ELEMENT},
      {"(a)", Rules::ARRAY_ELEMENT},
      {"a{sa}", Rules::ARRAY_ELEMENT},
      {"()", Rules::EMPTY_STRUCTURE},
      {"(i", Rules::BRACKETS},
      {"i)", Rules::BRACKETS},
      {"(i}", Rules::BRACKETS},
      {"a{i(i})", Rules::BRACKETS},
      {"({i)}", Rules::ENTRY_PLACE},
      {"{is}", Rules::ENTRY_PLACE},
      {"a{s{is}}", Rules::ENTRY_PLACE},
      {"a{}", Rules::ENTRY_FIELDS},
      {"a{i}", Rules::ENTRY_FIELDS},
      {"a{isi}", Rules::ENTRY_FIELDS},
      {"a{is(i)}", Rules::ENTRY_FIELDS},
      {"a{(ii)i}", Rules::ENTRY_KEY},
      {"a{vi}", Rules::ENTRY_KEY},
      {"a{aii}", Rules::ENTRY_KEY},
      {times(32, "a") + "y", nullptr},
      {times(33, "a") + "y", Rules::ARRAY_DEPTH},
      {times(32, "(") + "y" + times(32, ")"), nullptr},
      {times(33, "(") + "y" + times(33, ")"), Rules::STRUCTURE_DEPTH},
      {times(32, "a(") + "y" + times(32, ")"), nullptr},
      {times(32, "a{y") + "y" + times(32, "}"), nullptr},
      {times(32, "a{y") + "(y)" + times(32, "}"), Rules::DEPTH},
      {times(60, "a(y)"), nullptr},  // one behind the other is not one in the other
  };
  for (const auto& row : cases) EXPECT_STREQ(checkSignature(row.signature), row.rule) << row.signature;
}

TEST(Signature, OfAVariantIsOneCompleteType) {
  for (const char* one : {"y", "v", "a{s(iv)}", "((y)u)"}) EXPECT_EQ(checkSingleType(one), nullptr) << one;
  for (const char* other : {"", "uu", "yay", "(y)(y)"})
    EXPECT_STREQ(checkSingleType(other), Rules::SINGLE_TYPE) << other;
  EXPECT_STREQ(checkSingleType("("), Rules::BRACKETS);
}

TEST(Signature, CountsTheContainersAround) {
  EXPECT_EQ(checkSingleType("ay", Depth{31, 0, 31}), nullptr);
  EXPECT_STREQ(checkSingleType("ay", Depth{32, 0, 32}), Rules::ARRAY_DEPTH);
  EXPECT_STREQ(checkSingleType("(y)", Depth{0, 32, 32}), Rules::STRUCTURE_DEPTH);
  EXPECT_STREQ(checkSingleType("(y)", Depth{0, 0, 64}), Rules::DEPTH);
}

TEST(Signature, IsWalkedTypeByType) {
  const std::string signature = "ya{s(iv)}aay((y)u)v";
  std::string types;
  for (const char* at = signature.c_str(); *at;) {
    const char* const next = skipType(at);
    types.append(at, next) += ' ';
    at = next;
  }
  EXPECT_EQ(types, "y a{s(iv)} aay ((y)u) v ");
}

}  // namespace
}  // namespace Quarnix::Bus::Message
