// The values of the application: commands, their errors, and groups.
#include <array>
#include <stdexcept>

#include <gtest/gtest.h>

#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>

namespace Quarnix::Hevra {
namespace {

TEST(Command, NamesItselfInOneLineAndKnowsItsEnd) {
  Command command;
  command.setId(4294967295);
  command.setAddress(0xFEDCBA98);
  command.setParameterId(0xFEDCBA9876543210);
  command.setStatus(HvDetailedCommandStatus::REJECTED);
  EXPECT_EQ(command.toString(), "#4294967295 (node = fedcba98 / parameter = fedcba9876543210 / status = REJECTED)");
  for (const std::uint32_t nameless : {9U, 4294967295U}) {
    command.setStatus(static_cast<HvDetailedCommandStatus>(nameless));
    EXPECT_TRUE(command.toString().ends_with(" = " + std::to_string(nameless) + ")")) << command.toString();
  }
  std::string ends;
  for (std::uint32_t status = 0; status < 300; ++status)
    if (Command::isFinalStatus(static_cast<HvDetailedCommandStatus>(status))) ends += std::to_string(status);
  EXPECT_EQ(ends, "34578");
}

TEST(Acei, PacksThreeNumbersIntoAByte) {
  EXPECT_EQ(Command::Acei(5, 2, 6).getValue(), 0xB6);
  const Command::Acei read(0xB6);
  EXPECT_TRUE(read.getPriorityLevel() == 5 && read.getPriorityServiceNumber() == 2);
  EXPECT_EQ(read.getExtendedInformationNumber(), 6);
  EXPECT_FALSE(Command::Acei::isValid(Command::Acei::UNKNOWN));
  for (const auto& [level, service, information] : {std::array{8U, 0U, 0U}, {0U, 4U, 0U}, {0U, 0U, 8U}})
    EXPECT_THROW(Command::Acei(level, service, information), std::out_of_range);
}

TEST(DetailedError, SaysItsCodeAndItsDetails) {
  struct Field : ErrorField {
    std::string toString() const override { return "a"; }
  };
  DetailedError error;
  error.setErrorCode(ErrorCode(255, -7));
  EXPECT_EQ(error.toString(), "255/-7");
  error.setErrorFields({Shared::make<Field>(), Shared::make<Field>()});
  EXPECT_EQ(error.toString(), "255/-7: a, a");
  error.setErrorFieldsToString("text");
  EXPECT_EQ(error.toString(), "255/-7: text");
}

TEST(Group, TakesOrMakesAnIdentifier) {
  EXPECT_EQ(Group("g1").getId(), "g1");  // not the flag that a character pointer could turn into
  EXPECT_EQ(Group(true).getId().find_first_not_of("0123456789abcdef"), std::string::npos);
  EXPECT_NE(Group(true).getId(), Group(true).getId());
}

}  // namespace
}  // namespace Quarnix::Hevra
