// The typed values: what they hold and what they say.
#include <limits>

#include <gtest/gtest.h>

#include <platform/core/shared/Pointer.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/HvTypes.h>

namespace Quarnix::Hevra {
namespace {

TEST(HvTypes, SayTheirValue) {
  const struct {
    Shared::Pointer<HvType> value;
    std::string text;
  } rows[] = {
      {Shared::make<HvByte>(std::uint8_t{255}), "255"},
      {Shared::make<HvUInt16>(std::uint16_t{65535}), "65535"},
      {Shared::make<HvInt16>(std::int16_t{-32768}), "-32768"},
      {Shared::make<HvUInt32>(4294967295u), "4294967295"},
      {Shared::make<HvInt32>(-1), "-1"},
      {Shared::make<HvUInt64>(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {Shared::make<HvInt64>(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
      {Shared::make<HvDouble>(-0.1), "-0.1"},
      {Shared::make<HvBool>(true), "true"},
      {Shared::make<HvBool>(false), "false"},
      {Shared::make<HvString>("a b"), "a b"},
      {Shared::make<HvBlob>(std::vector<std::uint8_t>{0, 1, 0xAB}), "0001ab"},
      {Shared::make<HvNull>(), "null"},
  };
  for (const auto& row : rows) EXPECT_EQ(row.value->toString(), row.text);
}

TEST(Group, TakesOrMakesAnIdentifier) {
  EXPECT_EQ(Group(false).getId(), "");
  EXPECT_EQ(Group("g1").getId(), "g1");  // not the flag that a character pointer could turn into
  EXPECT_EQ(Group(std::string("g1")).getId(), "g1");
  const Group first(true), second(true);
  EXPECT_EQ(first.getId().size(), 16u);
  EXPECT_EQ(first.getId().find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(first.getId(), second.getId());
}

}  // namespace
}  // namespace Quarnix::Hevra
