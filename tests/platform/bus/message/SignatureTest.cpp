// Which signatures are well formed, and where their types end.
#include <gtest/gtest.h>

#include <string>

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
      {"ybnqiuxtdhsogv", nullptr},
      {"a(uyqyayayaytyuuyqqyyyyyqb)", nullptr},
      {"a{sv}aa{s(ia{yv})}v", nullptr},
      {times(255, "y"), nullptr},
      {times(256, "y"), Rules::SIGNATURE_LENGTH},
      {"r", Rules::TYPE_CODE},
      {"y\0"s, Rules::TYPE_CODE},
      {"\xf9", Rules::TYPE_CODE},
      {"a", Rules::ARRAY_ELEMENT},
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
      {"a{(ii)i}", Rules::ENTRY_KEY},
      {"a{vi}", Rules::ENTRY_KEY},
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

}  // namespace
}  // namespace Quarnix::Bus::Message
