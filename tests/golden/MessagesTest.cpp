// Messages made by another implementation hold what they should, and ours are the same bytes: calls, replies, errors
// and signals of the road of a command. A round trip through our own code alone could not see two mistakes that cancel.
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/golden/Golden.h>
#include <tests/golden/Values.h>

namespace Quarnix::Bus::Message {
namespace {

using Hevra::Command;
using Method::Call;
using Method::Return;

constexpr char TEXT[] = "Grüße, 家 \U0001d11e \uffff";
constexpr char RECORD[] = "utbuviiyisusuyy";
constexpr char COMMANDS_PATH[] = "/com/quarnix/Application/HevraZuv/Manager/Command";
constexpr char COMMANDS[] = "com.quarnix.Application.Hevra.Manager.Command";
constexpr char BOARD_PATH[] = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard";
constexpr char BOARD[] = "com.quarnix.Application.Hevra.Manager.DaughterBoard";
constexpr char ORIGINATOR_PATH[] = "/com/quarnix/Application/golden/Hevra/Originator";
constexpr char ORIGINATOR[] = "com.quarnix.Application.HevraZuv.Originator.Command";

/// What a command says on the wire, its value apart; the error's text is the field before the delay.
using Fields =
    std::tuple<std::uint32_t, std::uint64_t, bool, std::uint32_t, std::int32_t, std::int32_t, std::uint8_t,
               std::int32_t, std::string, std::uint32_t, std::string, std::uint32_t, std::uint8_t, std::uint8_t>;

struct Expected {
  const char* name;
  Value value;
  const char* details;  // what the error's text is made of, beside its code
  Fields fields;
};

constexpr std::int32_t LEAST = std::numeric_limits<std::int32_t>::min();
const Expected ZEROS{"zeros", value<Hevra::HvBlob>("value", Blob{}), "",
                     Fields(0, 0, false, 0, 0, 0, 0, 0, "0/0", 0, "", 0, 0, 0)};
const Expected HIGH{"high", value<Hevra::HvUInt64>("value", std::uint64_t{18446744073709551615u}), "blocked, hot",
                    Fields(4294967295, 18446744073709551615u, true, 4294967295, 2147483647, 2147483647, 255, 2147483647,
                           "255/2147483647: blocked, hot", 4294967295, TEXT, 4294967295, 255, 255)};
const Expected LOW{"low", value<Hevra::HvInt64>("value", std::numeric_limits<std::int64_t>::min()), "",
                   Fields(7, 4294967297, true, 1193046, LEAST, -1, 1, LEAST, "1/-2147483648", 60, "lamp 1", 9, 6, 227)};

Command commandOf(const Expected& expected) {
  Command command;
  command.setValue(expected.value.make());
  const auto& [id, parameterId, write, address, origin, context, errorType, errorId, errorText, delay, label, tag,
               status, acei] = expected.fields;
  command.setId(id);
  command.setParameterId(parameterId);
  command.setWrite(write);
  command.setAddress(address);
  command.setOrigin(origin);
  command.setContext(context);
  command.getDetailedError().setErrorCode(Hevra::ErrorCode(errorType, errorId));
  command.getDetailedError().setErrorFieldsToString(expected.details);
  command.setDelay(delay, 5);
  command.setLabel(label);
  command.setTag(tag);
  command.setStatus(Hevra::HvDetailedCommandStatus{status});
  command.setAcei(Command::Acei(acei));
  return command;
}

void expectFields(const Command& command, const Expected& expected) {
  SCOPED_TRACE(expected.name);
  expected.value.expect(command.getValue().get());
  const Hevra::DetailedError& error = command.getDetailedError();
  EXPECT_EQ(
      Fields(command.getId(), command.getParameterId(), command.isWrite(), command.getAddress(), command.getOrigin(),
             command.getContext(), error.getErrorCode().getErrorType(), error.getErrorCode().getErrorId(),
             error.getErrorFieldsToString(), command.getDelay(), command.getLabel(), command.getTag(),
             static_cast<std::uint8_t>(command.getStatus()), command.getAcei().getValue()),
      expected.fields);
  EXPECT_EQ(command.getDelayCompanion(), 0u);
}

void appendStructureOf(Iterator& arguments, const std::string& text, bool isPath = false) {
  Iterator structure = arguments.begin(STRUCTURE);
  isPath ? structure.appendPath(text) : structure.append(text);
  arguments.end(structure);
}

std::string textInStructure(ConstIterator& arguments) {
  const std::string text(arguments.begin().getText());
  ++arguments;
  return text;
}

TEST(GoldenRecord, HoldsEveryFieldBothWays) {
  for (const Expected& expected : {ZEROS, HIGH, LOW}) {
    const std::string name = std::string("record-") + expected.name;
    for (const char order : {'l', 'B'}) {
      const auto message = received<Signal>(name, order);
      EXPECT_STREQ(message.getSignature(), RECORD);
      Command command;
      ConstIterator read = message.begin();
      Bus::Type::Wrapper<Command>().deserialize(read, command);
      expectFields(command, expected);
    }
    Signal ours("/golden", "golden.Values", "Record");
    Iterator append = ours.begin();
    Bus::Type::Wrapper<Command>().serialize(append, commandOf(expected));
    expectSame(name, ours);
  }
}

TEST(GoldenAdd, HoldsEveryCommandBothWays) {
  const std::pair<const char*, std::vector<Expected>> rows[] = {
      {"add-none", {}}, {"add-one", {LOW}}, {"add-three", {ZEROS, HIGH, LOW}}};
  for (const auto& [name, commands] : rows) {
    SCOPED_TRACE(name);
    for (const char order : {'l', 'B'}) {
      const auto call = received<Call>(name, order);
      EXPECT_STREQ(call.getSignature(), "(o)(s)a(utbuviiyisusuyy)");
      ConstIterator read = call.begin();
      EXPECT_EQ(textInStructure(read), ORIGINATOR_PATH);
      EXPECT_EQ(textInStructure(read), "g1");
      std::vector<Command> list;
      Bus::Type::Wrapper<std::vector<Command>>().deserialize(read, list);
      ASSERT_EQ(list.size(), commands.size());
      for (std::size_t i = 0; i < list.size(); ++i) expectFields(list[i], commands[i]);
      EXPECT_EQ(++read, call.end());
    }
    Call ours = callOf(COMMANDS_PATH, COMMANDS, "add");
    Iterator append = ours.begin();
    appendStructureOf(append, ORIGINATOR_PATH, true);
    appendStructureOf(append, "g1");
    Hevra::Proxy::CommandContainerList list;
    for (const Expected& expected : commands) list.append(commandOf(expected));
    Bus::Type::Wrapper<const HomeAutomation::Container<Command>>().serialize(append, list);
    expectSame(name, ours);
  }
}

TEST(GoldenProgress, HoldsTheCommandBothWays) {
  for (const char order : {'l', 'B'}) {
    const auto call = received<Call>("progress", order);
    EXPECT_STREQ(call.getSignature(), "(utbuviiyisusuyy)(s)i");
    ConstIterator read = call.begin();
    Command command;
    ConstIterator record = read.begin();
    Bus::Type::Wrapper<Command>().deserialize(record, command);
    expectFields(command, HIGH);
    EXPECT_EQ(textInStructure(++read), "g1");
    std::int32_t status = 0;
    read.read(status);
    EXPECT_EQ(status, -1);
    EXPECT_EQ(read, call.end());
  }
  Call ours = callOf(ORIGINATOR_PATH, ORIGINATOR, "progress", ":1.42");
  Iterator append = ours.begin();
  Iterator record = append.begin(STRUCTURE);
  Bus::Type::Wrapper<Command>().serialize(record, commandOf(HIGH));
  append.end(record);
  appendStructureOf(append, "g1");
  append.append(std::int32_t{-1});
  expectSame("progress", ours);
}

TEST(GoldenCancel, HasThreeForms) {
  Call all = callOf(COMMANDS_PATH, COMMANDS, "cancel"), key = all, priority = all;
  key.begin().append("g1_7");
  priority.begin().append(std::uint32_t{4294967295});
  expectSame("cancel-all", all);
  expectSame("cancel-key", key);
  expectSame("cancel-priority", priority);
  for (const char order : {'l', 'B'}) {
    EXPECT_EQ(received<Call>("cancel-all", order).begin().type(), 0);
    EXPECT_EQ(received<Call>("cancel-key", order).begin().getText(), "g1_7");
    std::uint32_t level = 0;
    received<Call>("cancel-priority", order).begin().get(level);
    EXPECT_EQ(level, 4294967295);
  }
}

TEST(GoldenHardReset, IsAnsweredInFourWays) {
  Call call = callOf(BOARD_PATH, BOARD, "hardreset");
  expectSame("hardreset", call, {.path = {}, .destination = {}, .sender = ":1.7"});
  const auto asked = received<Call>("hardreset", NATIVE);
  for (const bool answer : {true, false}) {
    const std::string name = answer ? "hardreset-true" : "hardreset-false";
    Return ours(asked);
    ours.begin().append(answer);
    expectSame(name, ours);
    for (const char order : {'l', 'B'}) {
      const auto reply = received<Return>(name, order);
      bool isReset = !answer;
      reply.begin().get(isReset);
      EXPECT_EQ(isReset, answer);
      EXPECT_FALSE(reply.isException());
      EXPECT_EQ(reply.getReplySerial(), asked.getSerial());
    }
  }
  Return empty(asked), error(asked, "golden.Error.Busy", TEXT);
  expectSame("hardreset-empty", empty);
  expectSame("hardreset-error", error);
  for (const char order : {'l', 'B'}) {
    const auto reply = received<Return>("hardreset-error", order);
    EXPECT_TRUE(reply.isException());
    EXPECT_STREQ(reply.getErrorName(), "golden.Error.Busy");
    EXPECT_STREQ(reply.getErrorText(), TEXT);
  }
}

TEST(GoldenException, HoldsTheText) {
  for (const char order : {'l', 'B'}) {
    const auto signal = received<Signal>("exception", order);
    EXPECT_STREQ(signal.getPath(), COMMANDS_PATH);
    EXPECT_STREQ(signal.getInterface(), COMMANDS);
    EXPECT_STREQ(signal.getMember(), "exception");
    EXPECT_EQ(signal.begin().getText(), TEXT);
  }
  Signal ours(COMMANDS_PATH, COMMANDS, "exception");
  ours.begin().append(TEXT);
  expectSame("exception", ours);
}

}  // namespace
}  // namespace Quarnix::Bus::Message
