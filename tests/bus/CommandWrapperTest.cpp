// The command record, its list and its typed value where they deliberately do not come back as they went, and what is
// read of bad ones.
#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/Error.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/bus/NodeTexts.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Bus::Type {
namespace {

using namespace Hevra;
using Harness::CapturingLogger;
using Proxy::CommandContainerList;
using Test::expectRaisesWhatIsHandled;
using Test::signalOf;
using Test::written;
using Container = const HomeAutomation::Container<Command>;

const std::string UP_TO_ADDRESS = "u1 t8589934594 b1 u4 ",
                  FROM_ORIGIN = " i6 i7 y8 i-9 s'8/-9: hot' u11 s'hall' u13 y6 y";
std::string recordOf(unsigned acei) { return UP_TO_ADDRESS + "vu5" + FROM_ORIGIN + std::to_string(acei); }

Command commandOf(const std::string& text) {
  const Message::Signal message = signalOf(text);
  Message::ConstIterator read = message.begin();
  Command command;
  Wrapper<Command>().deserialize(read, command);
  EXPECT_EQ(read.type(), 'y');
  EXPECT_EQ((++read).type(), 0) << "the iterator was not left on the last field";
  return command;
}

TEST(CommandWrapper, CarriesTheLowByteOfTheStatus) {
  Command command = commandOf(recordOf(0));
  command.getDetailedError().setErrorFieldsToString("hot");
  command.setStatus(static_cast<HvDetailedCommandStatus>(0xFFFFFF06));
  EXPECT_EQ(written<Wrapper<Command>>(command), recordOf(0));
}

TEST(CommandWrapper, HasNoValueOfAContentThatNoClassHas) {
  const Command command = commandOf(UP_TO_ADDRESS + "vau[u1]" + FROM_ORIGIN + "0");
  EXPECT_FALSE(command.getValue());
  EXPECT_EQ(command.getTag(), 13u);
}

TEST(CommandWrapper, ReplacesAnInvalidAceiAndLogsIt) {
  const CapturingLogger lines;
  std::size_t invalid = 0;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool taken = byte == 0xFF || byte % 8 <= 3;
    EXPECT_EQ(commandOf(recordOf(byte)).getAcei().getValue(), taken ? byte : 0xE3) << byte;
    EXPECT_EQ(lines.get().size(), invalid += !taken) << byte;
  }
  EXPECT_EQ(
      lines.get()[4],
      "4 Command bus wrapper: invalid acei 0x0c detected on command #1 (node = 4 / parameter = 200000002 / status = "
      "DELAYED)");
  Log::Logger::set({});
  EXPECT_THROW(commandOf(recordOf(0x0C)), Shared::Exception::Nil);
}

TEST(CommandWrapper, KeepsWhatItReadBeforeAnError) {
  const auto expect = [](auto error, const std::string& bad) {
    const Message::Signal message = signalOf(bad);
    Message::ConstIterator read = message.begin();
    Command command;
    EXPECT_THROW(Wrapper<Command>().deserialize(read, command), decltype(error)) << bad;
    EXPECT_EQ(command.getAddress(), 4u);
  };
  expect(TypeMismatch(), "u1 t2 b1 u4 s'no variant'");
  expect(TypeMismatch(), "u1 t2 b1 u4 vu5 s''");
  expect(EndOfContainer(), "u1 t2 b1 u4");
  expect(EndOfContainer(), "u1 t2 b1 u4 vu5");
}

std::vector<Command> commandsIn(const Message::Signal& message) {
  std::vector<Command> commands;
  Message::ConstIterator read = message.begin();
  Wrapper<std::vector<Command>>().deserialize(read, commands);
  EXPECT_EQ(read, message.begin());
  return commands;
}

TEST(CommandList, StepsOverWhatItsRecordsHaveBehindACommand) {
  const std::string record = '(' + recordOf(0) + " y1 s'more')";
  const auto commands = commandsIn(signalOf("a(utbuviiyisusuyyys)[" + record + ' ' + record + ']'));
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].getTag(), 13u);
}

TEST(CommandList, IsWrittenFromItsCursorOnAndNeverReadIntoAContainer) {
  const CommandContainerList commands{commandOf(recordOf(0)), commandOf(recordOf(0))};
  for (const std::size_t count : {2u, 0u}) {
    Message::Signal message = signalOf("");
    Message::Iterator append = message.begin();
    Wrapper<Container>().serialize(append, commands);
    EXPECT_EQ(commandsIn(message).size(), count);
    const CommandContainerList unread;
    Message::ConstIterator read = std::as_const(message).begin();
    Wrapper<Container>().deserialize(read, unread);
    EXPECT_FALSE(unread.next());
  }
}

TEST(CommandListDeathTest, RaisesWhatIsBeingHandledWhereNoListStands) {
  for (const char* text : {"s'no list'", "au[u1]"}) expectRaisesWhatIsHandled([&] { commandsIn(signalOf(text)); });
}

TEST(HvTypeVariantHandler, RefusesADerivedClass) {
  struct Derived : HvUInt32 {
    using HvUInt32::HvUInt32;
  };
  struct Foreign : HvType {
    std::string toString() const override { return ""; }
  };
  for (const auto& value : {Shared::Pointer<HvType>(Shared::make<Derived>(1u)), {Shared::make<Foreign>()}}) {
    const HvTypeVariantHandler handler(value);
    EXPECT_THROW(handler.signature(), HvTypeVariantHandler::UnknownTypeForSignature);
    Message::Signal message = signalOf("");
    Message::Iterator append = message.begin();
    EXPECT_THROW(handler.serialize(append), HvTypeVariantHandler::UnknownTypeForSerialization);
    Command command;
    command.setValue(value);
    EXPECT_THROW(Wrapper<Command>().serialize(append, command), HvTypeVariantHandler::UnknownTypeForSignature);
    EXPECT_THROW(message.seal(1, {}), UnusableMessage) << "half a record";
  }
}

TEST(HvTypeVariantHandler, KeepsItsValueOverAContentThatNoClassHas) {
  const Message::Signal message = signalOf("vau[]");
  const Shared::Pointer<HvType> held = Shared::make<HvByte>(std::uint8_t{1});
  HvTypeVariantHandler handler(held);
  Message::ConstIterator read = message.begin();
  Wrapper<VariantHandler>().deserialize(read, handler);
  EXPECT_EQ(handler.value(), held);
}

TEST(HvTypeVariantHandler, WritesAnEmptyBlobWhereNoValueIs) {
  for (const auto& value : {Shared::Pointer<HvType>(), Shared::Pointer<HvType>(Shared::make<HvNull>())})
    EXPECT_EQ(written<Wrapper<VariantHandler>>(HvTypeVariantHandler(value)), "vay");
}

}  // namespace
}  // namespace Quarnix::Bus::Type
