// Messages made by another implementation hold what they should, and ours are the same bytes: calls, replies, errors
// and signals of the road of a command. A round trip through our own code alone could not see two mistakes that cancel.
#include <limits>
#include <string>
#include <vector>

#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <bus/CommandWrapper.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/golden/Golden.h>

namespace Quarnix::Bus::Message {
namespace {

using Hevra::Command;
using Method::Call;
using Method::Return;

constexpr char COMMANDS_PATH[] = "/com/quarnix/Application/HevraZuv/Manager/Command";
constexpr char COMMANDS[] = "com.quarnix.Application.Hevra.Manager.Command";
constexpr char BOARD_PATH[] = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard";
constexpr char BOARD[] = "com.quarnix.Application.Hevra.Manager.DaughterBoard";
constexpr char ORIGINATOR_PATH[] = "/com/quarnix/Application/golden/Hevra/Originator";
constexpr char ORIGINATOR[] = "com.quarnix.Application.HevraZuv.Originator.Command";

struct Expected {
  const char* name;
  const char* details;    // what the error's text is made of, beside its code
  const char* errorText;  // as it is on the wire
  Command command;
};

Command commandOf(std::uint32_t id, std::uint64_t parameterId, bool write, std::uint32_t address,
                  const Shared::Pointer<Hevra::HvType>& value, std::int32_t origin, std::int32_t context,
                  Hevra::ErrorCode error, const char* details, std::uint32_t delay, const char* label,
                  std::uint32_t tag, std::uint8_t status, std::uint8_t acei) {
  Command command;
  command.setId(id);
  command.setParameterId(parameterId);
  command.setWrite(write);
  command.setAddress(address);
  command.setValue(value);
  command.setOrigin(origin);
  command.setContext(context);
  command.getDetailedError().setErrorCode(error);
  command.getDetailedError().setErrorFieldsToString(details);
  command.setDelay(delay, 5);
  command.setLabel(label);
  command.setTag(tag);
  command.setStatus(Hevra::HvDetailedCommandStatus{status});
  command.setAcei(Command::Acei(acei));
  return command;
}

constexpr std::int32_t LEAST = std::numeric_limits<std::int32_t>::min();
const Expected ZEROS{
    "zeros", "", "0/0",
    commandOf(0, 0, false, 0, Shared::make<Hevra::HvBlob>(Bytes()), 0, 0, Hevra::ErrorCode(0, 0), "", 0, "", 0, 0, 0)};
const Expected HIGH{
    "high", "blocked, hot", "255/2147483647: blocked, hot",
    commandOf(4294967295, 18446744073709551615u, true, 4294967295,
              Shared::make<Hevra::HvUInt64>(std::uint64_t{18446744073709551615u}), 2147483647, 2147483647,
              Hevra::ErrorCode(255, 2147483647), "blocked, hot", 4294967295, TEXT, 4294967295, 255, 255)};
const Expected LOW{
    "low", "", "1/-2147483648",
    commandOf(7, 4294967297, true, 1193046, Shared::make<Hevra::HvInt64>(std::numeric_limits<std::int64_t>::min()),
              LEAST, -1, Hevra::ErrorCode(1, LEAST), "", 60, "lamp 1", 9, 6, 227)};

void expectIs(Command found, const Expected& expected) {
  SCOPED_TRACE(expected.name);
  EXPECT_EQ(found.getDelayCompanion(), 0u);
  EXPECT_EQ(found.getStatus(), expected.command.getStatus());  // only its low byte is written
  ASSERT_TRUE(found.getValue());
  EXPECT_EQ(classOf(found.getValue()), classOf(expected.command.getValue()));
  // The whole text of the error is read as its details; with those of before, the command is the same again.
  EXPECT_EQ(found.getDetailedError().getErrorFieldsToString(), expected.errorText);
  found.getDetailedError().setErrorFieldsToString(expected.details);
  EXPECT_EQ(written<Bus::Type::Wrapper<Command>>(found), written<Bus::Type::Wrapper<Command>>(expected.command));
}

/// A command as an argument: fifteen values without a structure around them.
struct Record {
  const Expected& expected;

  void write(Iterator& append) const { Bus::Type::Wrapper<Command>().serialize(append, expected.command); }
  void expect(ConstIterator& read) const {
    Command found;
    Bus::Type::Wrapper<Command>().deserialize(read, found);
    expectIs(found, expected);
    ++read;
  }
};

struct Text {
  std::string_view text;
  bool isPath = false;

  void write(Iterator& append) const { isPath ? append.appendPath(text) : append.append(text); }
  void expect(ConstIterator& read) const {
    EXPECT_EQ(read.getText(), text);
    ++read;
  }
};

template <class Content>
struct InStructure {
  Content content;

  void write(Iterator& append) const {
    Iterator structure = append.begin(STRUCTURE);
    content.write(structure);
    append.end(structure);
  }
  void expect(ConstIterator& read) const {
    ConstIterator inside = read.begin();
    content.expect(inside);
    ++read;
  }
};

struct List {
  const std::vector<Expected>& commands;

  void write(Iterator& append) const {
    Hevra::Proxy::CommandContainerList list;
    for (const Expected& expected : commands) list.append(expected.command);
    Bus::Type::Wrapper<const HomeAutomation::Container<Command>>().serialize(append, list);
  }
  void expect(ConstIterator& read) const {
    std::vector<Command> found;
    Bus::Type::Wrapper<std::vector<Command>>().deserialize(read, found);
    ASSERT_EQ(found.size(), commands.size());
    for (std::size_t i = 0; i < found.size(); ++i) expectIs(found[i], commands[i]);
    ++read;
  }
};

const InStructure<Text> ORIGINATOR_OF_LIST{{ORIGINATOR_PATH, true}}, KEY{{"g1"}};

TEST(GoldenRecord, HoldsEveryFieldBothWays) {
  for (const Expected& expected : {ZEROS, HIGH, LOW})
    expectBothWays(std::string("record-") + expected.name, Signal("/golden", "golden.Values", "Record"),
                   Record{expected});
}

TEST(GoldenCommandCalls, HoldTheirArgumentsBothWays) {
  const std::pair<const char*, std::vector<Expected>> lists[] = {
      {"add-none", {}}, {"add-one", {LOW}}, {"add-three", {ZEROS, HIGH, LOW}}};
  for (const auto& [name, commands] : lists)
    expectBothWays(name, callOf(COMMANDS_PATH, COMMANDS, "add"), ORIGINATOR_OF_LIST, KEY, List{commands});

  expectBothWays("progress", callOf(ORIGINATOR_PATH, ORIGINATOR, "progress", ":1.42"), InStructure<Record>{{HIGH}}, KEY,
                 std::int32_t{-1});

  const Call cancel = callOf(COMMANDS_PATH, COMMANDS, "cancel");
  expectBothWays("cancel-all", cancel);
  expectBothWays("cancel-key", cancel, Text{"g1_7"});
  expectBothWays("cancel-priority", cancel, std::uint32_t{4294967295});
  expectBothWays("hardreset", callOf(BOARD_PATH, BOARD, "hardreset"));
  expectBothWays("exception", Signal(COMMANDS_PATH, COMMANDS, "exception"), Text{TEXT});
}

TEST(GoldenHardReset, IsAnsweredInFourWays) {
  const auto asked = received<Call>("hardreset", NATIVE);
  expectBothWays("hardreset-true", Return(asked), true);
  expectBothWays("hardreset-false", Return(asked), false);
  expectBothWays("hardreset-empty", Return(asked));
  Return error(asked, "golden.Error.Busy", TEXT);
  expectSame("hardreset-error", error);
  for (const char order : {'l', 'B'}) {
    const auto reply = received<Return>("hardreset-true", order), refusal = received<Return>("hardreset-error", order);
    EXPECT_FALSE(reply.isException());
    EXPECT_EQ(reply.getReplySerial(), asked.getSerial());
    EXPECT_TRUE(refusal.isException());
    EXPECT_STREQ(refusal.getErrorName(), "golden.Error.Busy");
    EXPECT_STREQ(refusal.getErrorText(), TEXT);
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Message
