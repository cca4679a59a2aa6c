// The command record: fifteen fields there and back, and where they deliberately do not come back as they went.
#include <gtest/gtest.h>

#include <bus/CommandWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/Error.h>
#include <platform/bus/message/Signal.h>
#include <platform/hevra/HvTypes.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Bus::Type {
namespace {

using Hevra::Command;
using Test::CapturingLogger;

Command fullCommand() {
  Command command;
  command.setId(1);
  command.setParameterId(0x200000002);
  command.setWrite(true);
  command.setAddress(4);
  command.setValue(Shared::make<Hevra::HvInt16>(std::int16_t{-5}));
  command.setOrigin(-6);
  command.setContext(-7);
  command.getDetailedError().setErrorCode(Hevra::ErrorCode(8, -9));
  command.setDelay(11, 111);
  command.setLabel("label twelve, which is a long one");
  command.setTag(13);
  command.setStatus(Hevra::HvDetailedCommandStatus::DELAYED);
  command.setAcei(Command::Acei(0x1A));
  return command;
}

Message::Signal written(const Command& command) {
  Message::Signal message("/test", "test.Test", "Test");
  Message::Iterator append = message.begin();
  Wrapper<Command>().serialize(append, command);
  return message;
}

Command readBack(const Command& command) {
  const Message::Signal message = written(command);
  Command back;
  Message::ConstIterator read = message.begin();
  Wrapper<Command>().deserialize(read, back);
  EXPECT_EQ(read.type(), 'y');
  EXPECT_EQ((++read).type(), 0) << "the iterator was not left on the last field";
  return back;
}

TEST(CommandWrapper, KeepsEveryFieldThatCrossesTheBus) {
  const Command command = fullCommand();
  const Command back = readBack(command);
  EXPECT_EQ(back.getId(), 1u);
  EXPECT_EQ(back.getParameterId(), 0x200000002u);
  EXPECT_TRUE(back.isWrite());
  EXPECT_EQ(back.getAddress(), 4u);
  ASSERT_TRUE(back.getValue().as<Hevra::HvInt16>());
  EXPECT_EQ(back.getValue().as<Hevra::HvInt16>()->getValue(), -5);
  EXPECT_EQ(back.getOrigin(), -6);
  EXPECT_EQ(back.getContext(), -7);
  EXPECT_EQ(back.getDetailedError().getErrorCode().getErrorType(), 8);
  EXPECT_EQ(back.getDetailedError().getErrorCode().getErrorId(), -9);
  EXPECT_EQ(back.getDelay(), 11u);
  EXPECT_EQ(back.getLabel(), "label twelve, which is a long one");
  EXPECT_EQ(back.getTag(), 13u);
  EXPECT_EQ(back.getStatus(), Hevra::HvDetailedCommandStatus::DELAYED);
  EXPECT_EQ(back.getAcei().getValue(), 0x1A);
}

TEST(CommandWrapper, WritesTheSignatureThatItSays) {
  EXPECT_EQ(Wrapper<Command>().signature(), "utbuviiyisusuyy");
  EXPECT_STREQ(written(fullCommand()).getSignature(), "utbuviiyisusuyy");
}

TEST(CommandWrapper, ReadsTheWholeErrorTextAsItsDetails) {
  Command command = fullCommand();
  EXPECT_EQ(readBack(command).getDetailedError().toString(), "8/-9: 8/-9");
  command.getDetailedError().setErrorFieldsToString("burnt");
  EXPECT_EQ(readBack(command).getDetailedError().getErrorFieldsToString(), "8/-9: burnt");
}

TEST(CommandWrapper, DropsTheDelayCompanionAndTheHighBytesOfTheStatus) {
  Command command = fullCommand();
  command.setStatus(static_cast<Hevra::HvDetailedCommandStatus>(0xFFFFFF03));
  const Command back = readBack(command);
  EXPECT_EQ(back.getDelayCompanion(), 0u);
  EXPECT_EQ(back.getStatus(), Hevra::HvDetailedCommandStatus::COMPLETED);
}

TEST(CommandWrapper, ReplacesTheValueByWhatItReads) {
  Command command = fullCommand();
  for (const bool value : {false, true}) {
    command.setValue(Shared::make<Hevra::HvBool>(value));
    ASSERT_TRUE(readBack(command).getValue().as<Hevra::HvBool>());
    EXPECT_EQ(readBack(command).getValue().as<Hevra::HvBool>()->getValue(), value);
  }
  command.setValue({});
  ASSERT_TRUE(readBack(command).getValue().as<Hevra::HvBlob>());

  Message::Signal message("/test", "test.Test", "Test");
  Message::Iterator append = message.begin();
  append.append(1u, std::uint64_t{2}, true, 4u);
  Message::Iterator variant = append.begin(Message::VARIANT, "o");
  variant.appendPath("/a");
  append.end(variant);
  append.append(6, 7, std::uint8_t{8}, 9, "ten", 11u, "twelve", 13u, std::uint8_t{14}, std::uint8_t{0});
  Command held = fullCommand();
  Message::ConstIterator read = std::as_const(message).begin();
  Wrapper<Command>().deserialize(read, held);
  EXPECT_FALSE(held.getValue()) << "a content that no class has";
  EXPECT_EQ(held.getTag(), 13u);
}

TEST(CommandWrapper, RefusesAValueOfAnotherClass) {
  struct Derived : Hevra::HvUInt32 {
    using HvUInt32::HvUInt32;
  };
  Command command;
  command.setValue(Shared::make<Derived>(1u));
  EXPECT_THROW(written(command), HvTypeVariantHandler::UnknownTypeForSignature);
}

TEST(CommandWrapper, ReplacesAnInvalidAceiAndLogsIt) {
  Command command = fullCommand();
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool taken = byte == 0xFF || byte % 8 <= 3;
    const CapturingLogger lines;
    command.setAcei(Command::Acei(static_cast<std::uint8_t>(byte)));
    EXPECT_EQ(readBack(command).getAcei().getValue(), taken ? byte : 0xE3) << byte;
    EXPECT_EQ(lines.get().size(), taken ? 0u : 1u) << byte;
  }
  const CapturingLogger lines;
  command.setAcei(Command::Acei(0x0C));
  readBack(command);
  EXPECT_EQ(lines.get(), std::vector<std::string>{
                             "4 Command bus wrapper: invalid acei 0x0c detected on command command #1 (node = 4 / "
                             "parameter = 200000002 / status = DELAYED)"});
}

TEST(CommandWrapper, RaisesNilForAnInvalidAceiWithoutALogger) {
  const CapturingLogger restoresTheLogger;
  Log::Logger::set({});
  Command command = fullCommand();
  command.setAcei(Command::Acei(0x0C));
  const Message::Signal message = written(command);
  Message::ConstIterator read = message.begin();
  Command back;
  EXPECT_THROW(Wrapper<Command>().deserialize(read, back), Shared::Exception::Nil);
  EXPECT_EQ(back.getStatus(), Hevra::HvDetailedCommandStatus::DELAYED);
  EXPECT_EQ(back.getAcei().getValue(), Command::Acei::UNKNOWN);
}

TEST(CommandWrapper, KeepsWhatItReadBeforeAnError) {
  Message::Signal message("/test", "test.Test", "Test");
  message.begin().append(1u, std::uint64_t{2}, 3u);
  Command command;
  Message::ConstIterator read = std::as_const(message).begin();
  EXPECT_THROW(Wrapper<Command>().deserialize(read, command), TypeMismatch);
  EXPECT_EQ(command.getId(), 1u);
  EXPECT_EQ(command.getParameterId(), 2u);

  Message::Signal longer("/test", "test.Test", "Test");
  longer.begin().append(1u, std::uint64_t{2}, true, 4u, "no variant");
  read = std::as_const(longer).begin();
  EXPECT_THROW(Wrapper<Command>().deserialize(read, command), TypeMismatch);
  EXPECT_EQ(command.getAddress(), 4u);
}

}  // namespace
}  // namespace Quarnix::Bus::Type
