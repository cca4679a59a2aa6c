// The command record where it deliberately does not come back as it went, what is read of a bad one, and lists of them.
#include <gtest/gtest.h>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/Error.h>
#include <platform/bus/message/Signal.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Bus::Type {
namespace {

using Harness::CapturingLogger;
using Hevra::Command;
using Hevra::Proxy::CommandContainerList;
using Container = const HomeAutomation::Container<Command>;

Command fullCommand() {
  Command command;
  command.setId(1);
  command.setParameterId(0x200000002);
  command.setAddress(4);
  command.setValue(Shared::make<Hevra::HvInt16>(std::int16_t{-5}));
  command.getDetailedError().setErrorCode(Hevra::ErrorCode(8, -9));
  command.setStatus(Hevra::HvDetailedCommandStatus::DELAYED);
  return command;
}

template <class T>
Message::Signal written(const T& value) {
  Message::Signal message("/test", "test.Test", "Test");
  Message::Iterator append = message.begin();
  Wrapper<T>().serialize(append, value);
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

TEST(CommandWrapper, ReadsTheWholeErrorTextAsItsDetails) {
  Command command = fullCommand();
  EXPECT_EQ(readBack(command).getDetailedError().toString(), "8/-9: 8/-9");
  command.getDetailedError().setErrorFieldsToString("burnt");
  EXPECT_EQ(readBack(command).getDetailedError().getErrorFieldsToString(), "8/-9: burnt");
}

TEST(CommandWrapper, CarriesTheLowByteOfTheStatus) {
  Command command = fullCommand();
  command.setStatus(static_cast<Hevra::HvDetailedCommandStatus>(0xFFFFFF03));
  EXPECT_EQ(readBack(command).getStatus(), Hevra::HvDetailedCommandStatus::COMPLETED);
}

TEST(CommandWrapper, HasNoValueOfAContentThatNoClassHas) {
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
  EXPECT_FALSE(held.getValue());
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

/// How many commands the list has.
std::size_t countIn(const Message::Signal& message) {
  std::vector<Command> commands;
  Message::ConstIterator read = message.begin();
  Wrapper<std::vector<Command>>().deserialize(read, commands);
  EXPECT_EQ(read, message.begin());
  return commands.size();
}

TEST(CommandList, IsEmptyWhenWrittenAgainWithoutRewinding) {
  const CommandContainerList commands{fullCommand(), fullCommand()};
  EXPECT_EQ(countIn(written<Container>(commands)), 2u);
  EXPECT_EQ(countIn(written<Container>(commands)), 0u);
  commands.reset();
  EXPECT_EQ(countIn(written<Container>(commands)), 2u);
}

TEST(CommandList, IsNeverReadIntoAContainer) {
  const Message::Signal message = written<Container>(CommandContainerList{fullCommand()});
  const CommandContainerList commands;
  Message::ConstIterator read = message.begin();
  Wrapper<Container>().deserialize(read, commands);
  EXPECT_EQ(read, message.begin());
  EXPECT_FALSE(commands.next());
}

TEST(CommandList, RaisesWhatIsBeingHandledWhereNoListStands) {
  struct InHand {};
  Message::Signal text("/test", "test.Test", "Test"), numbers("/test", "test.Test", "Test");
  text.begin().append("no list");
  Message::Iterator append = numbers.begin();
  Message::Iterator array = append.begin(Message::ARRAY, "u");
  array.append(1u);
  append.end(array);
  for (const Message::Signal* message : {&text, &numbers}) {
    try {
      throw InHand();
    } catch (const InHand&) {
      EXPECT_THROW(countIn(*message), InHand);
    }
    EXPECT_DEATH(countIn(*message), "terminate called without an active exception");
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Type
