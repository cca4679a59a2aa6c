// The values of the application: commands and their errors, typed values, groups and the keys of stack nodes.
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/HvTypes.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Hevra {
namespace {

TEST(Command, IsAtItsEndWithFiveStatuses) {
  for (std::uint32_t status = 0; status < 300; ++status) {
    const bool isFinal = status == 3 || status == 4 || status == 5 || status == 7 || status == 8;
    EXPECT_EQ(Command::isFinalStatus(static_cast<HvDetailedCommandStatus>(status)), isFinal) << status;
  }
}

TEST(Command, NamesItselfInOneLine) {
  Command command;
  command.setId(4294967295);
  command.setAddress(0xFEDCBA98);
  command.setParameterId(0xFEDCBA9876543210);
  command.setStatus(HvDetailedCommandStatus::REJECTED);
  EXPECT_EQ(command.toString(), "#4294967295 (node = fedcba98 / parameter = fedcba9876543210 / status = REJECTED)");
  command.setStatus(static_cast<HvDetailedCommandStatus>(4294967295));
  EXPECT_NE(command.toString().find("status = 4294967295)"), std::string::npos);
}

TEST(Acei, PacksThreeNumbersIntoAByte) {
  EXPECT_EQ(Command::Acei(5, 2, 6).getValue(), 0xB6);
  constexpr Command::Acei read(0xB6);
  static_assert(read.getPriorityLevel() == 5 && read.getPriorityServiceNumber() == 2 &&
                read.getExtendedInformationNumber() == 6);
  EXPECT_FALSE(Command::Acei::isValid(Command::Acei::UNKNOWN));
  EXPECT_THROW(Command::Acei(8, 0, 0), std::out_of_range);
  EXPECT_THROW(Command::Acei(0, 4, 0), std::out_of_range);
  EXPECT_THROW(Command::Acei(0, 0, 8), std::out_of_range);
}

struct Field : ErrorField {
  std::string toString() const override { return "a"; }
};

TEST(DetailedError, SaysItsCodeAndItsDetails) {
  const auto a = Shared::make<Field>();
  const struct {
    std::uint8_t type;
    int id;
    std::vector<Shared::Pointer<ErrorField>> fields;
    const char *text, *whole;
  } rows[] = {
      {255, -2147483647 - 1, {}, "", "255/-2147483648"},
      {2, 7, {a, a}, "", "2/7: a, a"},
      {2, 7, {a}, "text", "2/7: text"},
  };
  for (const auto& row : rows) {
    DetailedError error;
    error.setErrorCode(ErrorCode(row.type, row.id));
    error.setErrorFields(row.fields);
    error.setErrorFieldsToString(row.text);
    EXPECT_EQ(error.toString(), row.whole);
  }
}

TEST(HvTypes, SayTheirValue) {
  const std::pair<Shared::Pointer<HvType>, const char*> rows[] = {
      {Shared::make<HvByte>(std::uint8_t{255}), "255"},
      {Shared::make<HvUInt64>(std::numeric_limits<std::uint64_t>::max()), "18446744073709551615"},
      {Shared::make<HvInt64>(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808"},
      {Shared::make<HvDouble>(-0.1), "-0.1"},
      {Shared::make<HvBool>(true), "true"},
      {Shared::make<HvString>("a b"), "a b"},
      {Shared::make<HvBlob>(std::vector<std::uint8_t>{0, 1, 0xAB}), "0001ab"},
      {Shared::make<HvNull>(), "null"},
  };
  for (const auto& [value, text] : rows) EXPECT_EQ(value->toString(), text);
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

TEST(StackNode, HasItsKeyAsThirdIdentity) {
  StackNode node;
  StackNode::Key key{};
  EXPECT_TRUE(StackNode::isKeyEmpty(key.data()));
  for (const std::size_t place : {0U, 15U}) {
    key = {};
    key[place] = 0x80;
    EXPECT_FALSE(StackNode::isKeyEmpty(key.data())) << place;
    node.setKey(key.data());
    EXPECT_EQ(node.getThirdIdentity(), key);
  }
}

}  // namespace
}  // namespace Quarnix::Hevra
