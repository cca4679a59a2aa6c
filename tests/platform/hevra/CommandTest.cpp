// Commands: their final statuses, their Acei, their error and their text.
#include <stdexcept>

#include <gtest/gtest.h>

#include <platform/hevra/Command.h>

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
  EXPECT_EQ(command.toString(), "command #0 (node = 0 / parameter = 0 / status = INITIALIZED)");
  command.setId(4294967295);
  command.setAddress(0xFEDCBA98);
  command.setParameterId(0xFEDCBA9876543210);
  command.setStatus(HvDetailedCommandStatus::REJECTED);
  EXPECT_EQ(command.toString(),
            "command #4294967295 (node = fedcba98 / parameter = fedcba9876543210 / status = REJECTED)");
  command.setStatus(static_cast<HvDetailedCommandStatus>(4294967295));
  EXPECT_NE(command.toString().find("status = 4294967295)"), std::string::npos);
}

TEST(Acei, PacksThreeNumbersIntoAByte) {
  constexpr Command::Acei acei(7, 0, 3);
  static_assert(acei.getValue() == 0xE3);
  EXPECT_EQ(Command::Acei(5, 2, 6).getValue(), 0xB6);
  constexpr Command::Acei read(0xB6);
  static_assert(read.getPriorityLevel() == 5 && read.getPriorityServiceNumber() == 2 &&
                read.getExtendedInformationNumber() == 6);
  for (unsigned byte = 0; byte < 256; ++byte)
    EXPECT_EQ(Command::Acei::isValid(static_cast<std::uint8_t>(byte)), byte % 8 <= 3) << byte;
  EXPECT_FALSE(Command::Acei::isValid(Command::Acei::UNKNOWN));
  EXPECT_THROW(Command::Acei(8, 0, 0), std::out_of_range);
  EXPECT_THROW(Command::Acei(0, 4, 0), std::out_of_range);
  EXPECT_THROW(Command::Acei(0, 0, 8), std::out_of_range);
}

struct Field : ErrorField {
  explicit Field(std::string text) : text_(std::move(text)) {}
  std::string toString() const override { return text_; }
  std::string text_;
};

TEST(DetailedError, SaysItsCodeAndItsDetails) {
  const auto a = Shared::make<Field>("a"), b = Shared::make<Field>("b");
  const struct {
    std::uint8_t type;
    int id;
    std::vector<Shared::Pointer<ErrorField>> fields;
    const char* text;
    const char* whole;
  } rows[] = {
      {0, 0, {}, "", "0/0"},
      {255, -2147483647 - 1, {}, "", "255/-2147483648"},
      {2, 2147483647, {a}, "", "2/2147483647: a"},
      {2, 7, {a, b}, "", "2/7: a, b"},
      {2, 7, {a, b}, "text", "2/7: text"},
      {2, 7, {}, "text", "2/7: text"},
  };
  for (const auto& row : rows) {
    DetailedError error;
    error.setErrorCode(ErrorCode(row.type, row.id));
    error.setErrorFields(row.fields);
    error.setErrorFieldsToString(row.text);
    EXPECT_EQ(error.toString(), row.whole);
  }
}

}  // namespace
}  // namespace Quarnix::Hevra
