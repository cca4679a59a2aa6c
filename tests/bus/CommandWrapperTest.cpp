// The command record, its list and its typed value where they deliberately do not come back as they went, and what is
// read of bad ones.
#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <bus/HvTypeVariantHandler.h>
#include <platform/bus/Error.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/bus/Arguments.h>
#include <tests/harness/CapturingLogger.h>

#include <climits>

namespace Quarnix::Bus::Type {
namespace {

using namespace Hevra;
using Harness::CapturingLogger;
using Proxy::CommandContainerList;
using Test::expectRaisesWhatIsHandled;
using Test::signalOf;
using Test::written;
using Container = const HomeAutomation::Container<Command>;

constexpr const char* RECORD = "utbuviiyisusuyy";
std::string recordOf(unsigned acei, const std::string& type = "u", const std::string& value = "5") {
  return R"([1,8589934594,true,4,{"type":")" + type + R"(","value":)" + value +
         R"(},6,7,8,-9,"8/-9: hot",11,"hall",13,6,)" + std::to_string(acei) + ']';
}

Command commandOf(const std::string& arguments) {
  const Message::Signal message = signalOf(RECORD, arguments);
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

TEST(CommandWrapper, WritesTheTextOfItsError) {
  struct Detail : ErrorField {
    std::string toString() const override { return "K\u00fcche"; }
  };
  const auto detail = Shared::make<Detail>();
  Command command = commandOf(recordOf(0));
  DetailedError& error = command.getDetailedError();
  for (const ErrorCode& code : {ErrorCode(), ErrorCode(9, 10), ErrorCode(255, INT_MIN)})
    for (const char* text : {"", "x", "K\u00fcche", "a text that is longer than one word"})
      for (const std::size_t fields : {0u, 2u}) {
        error.setErrorCode(code);
        error.setErrorFieldsToString(text);
        error.setErrorFields({fields, detail});
        EXPECT_EQ(nlohmann::json::parse(written<Wrapper<Command>>(command)).at(9), error.toString());
      }
  for (const char* text : {"\xff", "behind a word: \xc3"}) {
    error.setErrorFieldsToString(text);
    EXPECT_THROW(written<Wrapper<Command>>(command), InvalidArgument) << text;
  }
}

TEST(CommandWrapper, HasNoValueOfAContentThatNoClassHas) {
  const Command command = commandOf(recordOf(0, "au", "[1]"));
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
  const auto expect = [](auto error, const char* signature, const char* bad) {
    const Message::Signal message = signalOf(signature, bad);
    Message::ConstIterator read = message.begin();
    Command command;
    EXPECT_THROW(Wrapper<Command>().deserialize(read, command), decltype(error)) << bad;
    EXPECT_EQ(command.getAddress(), 4u);
  };
  expect(TypeMismatch(), "utbus", R"([1,2,true,4,"no variant"])");
  expect(TypeMismatch(), "utbuvs", R"([1,2,true,4,{"type":"u","value":5},""])");
  expect(EndOfContainer(), "utbu", "[1,2,true,4]");
  expect(EndOfContainer(), "utbuv", R"([1,2,true,4,{"type":"u","value":5}])");
}

std::vector<Command> commandsIn(const Message::Signal& message) {
  std::vector<Command> commands;
  Message::ConstIterator read = message.begin();
  Wrapper<std::vector<Command>>().deserialize(read, commands);
  EXPECT_EQ(read, message.begin());
  return commands;
}

TEST(CommandList, StepsOverWhatItsRecordsHaveBehindACommand) {
  std::string record = recordOf(0);
  record.replace(record.size() - 1, 1, R"(,1,"more"])");
  const auto commands = commandsIn(signalOf("a(utbuviiyisusuyyys)", "[[" + record + ',' + record + "]]"));
  ASSERT_EQ(commands.size(), 2u);
  EXPECT_EQ(commands[1].getTag(), 13u);
}

TEST(CommandList, IsWrittenFromItsCursorOnAndNeverReadIntoAContainer) {
  const CommandContainerList commands{commandOf(recordOf(0)), commandOf(recordOf(0))};
  for (const std::size_t count : {2u, 0u}) {
    Message::Signal message = signalOf();
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
  expectRaisesWhatIsHandled([] { commandsIn(signalOf("s", R"(["no list"])")); });
  expectRaisesWhatIsHandled([] { commandsIn(signalOf("au", "[[1]]")); });
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
    Message::Signal message = signalOf();
    Message::Iterator append = message.begin();
    EXPECT_THROW(handler.serialize(append), HvTypeVariantHandler::UnknownTypeForSerialization);
    Command command;
    command.setValue(value);
    EXPECT_THROW(Wrapper<Command>().serialize(append, command), HvTypeVariantHandler::UnknownTypeForSignature);
    EXPECT_THROW(message.seal(1, {}), UnusableMessage) << "half a record";
  }
}

TEST(HvTypeVariantHandler, KeepsItsValueOverAContentThatNoClassHas) {
  const Message::Signal message = signalOf("v", R"([{"type":"au","value":[]}])");
  const Shared::Pointer<HvType> held = Shared::make<HvByte>(std::uint8_t{1});
  HvTypeVariantHandler handler(held);
  Message::ConstIterator read = message.begin();
  Wrapper<VariantHandler>().deserialize(read, handler);
  EXPECT_EQ(handler.value(), held);
}

TEST(HvTypeVariantHandler, WritesAnEmptyBlobWhereNoValueIs) {
  for (const auto& value : {Shared::Pointer<HvType>(), Shared::Pointer<HvType>(Shared::make<HvNull>())})
    EXPECT_EQ(written<Wrapper<VariantHandler>>(HvTypeVariantHandler(value)), R"([{"type":"ay","value":""}])");
}

}  // namespace
}  // namespace Quarnix::Bus::Type
