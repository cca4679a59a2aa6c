// The command manager against a stack service in the same process, in simulated time.
#include <future>

#include <sys/wait.h>
#include <unistd.h>

#include <platform/bus/Error.h>
#include <platform/core/time/SimulatedClock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra {
namespace {

using namespace Proxy::Test;
using Proxy::CommandContainerList;

Command commandOf(std::uint32_t id, std::uint32_t status = 0, std::uint32_t delay = 0) {
  Command command;
  command.setId(id);
  command.setAddress(0xAB);
  command.setParameterId(0x1234567890);
  command.setStatus(static_cast<HvDetailedCommandStatus>(status));
  command.setDelay(delay, 0);
  return command;
}

std::string timeoutOf(const std::string& key) { return "CommandManager command timeout, matching key: " + key; }
std::string unknown(const std::string& number) {
  return "CommandManager unknown originator for command #" + number +
         " of group g with status 2 (node = ab / parameter = 1234567890)";
}

class CommandManager : public testing::Test {
 protected:
  CommandManager() {
    manager.setConnection(Bus::Connection::open("in-process"));
    manager.start(true);
  }

  void add(const Shared::Pointer<Client>& client, std::initializer_list<std::uint32_t> ids) {
    CommandContainerList list;
    for (const std::uint32_t id : ids) list.append(commandOf(id));
    manager.add(client, Group("g"), list);
  }
  Call callBack(const char* interface = ORIGINATOR_INTERFACE, const char* member = "progress") {
    return Proxy::Test::callBack(manager.getConnection()->getUniqueName(), interface, member);
  }
  /// Reports and waits for the answer; the name of the error, empty for a return.
  std::string report(const Command& command) {
    Call call = reportOf(callBack(), command);
    return stack.getConnection()->call(call)->getErrorName();
  }
  /// The same for a report that gets no answer.
  void reportUnanswered(const Command& command) {
    Call call = reportOf(callBack(), command);
    call.setNoReplyExpected();
    stack.getConnection()->call(call);
    clock.settle();
  }
  void advance(std::int64_t seconds) { clock.advance(Time::Elapsed(seconds, 0)); }

  LoggedLines lines;
  Time::SimulatedClock clock;
  StackObject stack{SERVICE, COMMAND_PATH};
  Listening manager{false, "app"};
};

TEST_F(CommandManager, WaitsForTheNextReportAsLongAsTheStatusSays) {
  const struct {
    std::uint32_t status, delay;
    std::int64_t seconds;
  } rows[] = {{0, 5, 60},    {1, 0, 60}, {2, 0, 60}, {9, 0, 60},
              {6, 0, 14400}, {6, 1, 31}, {6, 5, 35}, {6, 4294967295, 4294967325}};
  for (const auto& row : rows) {
    const auto client = Shared::make<Client>();
    add(client, {1});
    advance(59);
    EXPECT_EQ(report(commandOf(1, row.status, row.delay)), "");
    advance(row.seconds - 1);
    EXPECT_EQ(lines.take(), Lines()) << row.status << "/" << row.delay;
    advance(1);
    EXPECT_EQ(lines.take(), Lines{timeoutOf("g_1")}) << row.status << "/" << row.delay;
    report(commandOf(1));
    EXPECT_EQ(lines.take(), Lines{unknown("1")});
    EXPECT_EQ(client.useCount(), 1u);
  }
}

TEST_F(CommandManager, ForgetsACommandWhoseOwnStatusIsFinal) {
  const auto client = Shared::make<Client>();
  add(client, {1, 4294967295});
  EXPECT_EQ(report(commandOf(4294967295, 3)), "");
  EXPECT_EQ(report(commandOf(4294967295, 3)), "");
  EXPECT_EQ(lines.take(), Lines{unknown("4294967295")});
  EXPECT_EQ(client->reports.take(), Lines{"g_4294967295 3/2"});
  EXPECT_EQ(client.useCount(), 2u);
  advance(60);
  EXPECT_EQ(lines.take(), Lines{timeoutOf("g_1")});
  EXPECT_EQ(client->reports.take(), Lines()) << "the client is not told of a time-out";
}

TEST_F(CommandManager, KeepsTheCommandsOfAFailedAddUntilTheirTimeIsOver) {
  stack.answer = [](const Call& call) { return Return(call, "test.Error", "no"); };
  const auto client = Shared::make<Client>();
  EXPECT_THROW(add(client, {1}), Return);
  EXPECT_THROW(manager.cancel(), Return);

  struct Failing : CommandContainerList {
    using CommandContainerList::CommandContainerList;
    const Command& get() const override {
      const Command& command = CommandContainerList::get();
      return command.getId() == 3 ? throw BadUse() : command;
    }
  };
  EXPECT_THROW(manager.add(client, Group("g"), Failing{commandOf(2), commandOf(3)}), CommandContainerList::BadUse);
  EXPECT_EQ(stack.calls.all().size(), 2u);
  advance(59);
  EXPECT_EQ(client.useCount(), 3u);
  advance(1);
  EXPECT_EQ(lines.take(), (Lines{timeoutOf("g_1"), timeoutOf("g_2")}));
  EXPECT_EQ(client.useCount(), 1u);
}

TEST_F(CommandManager, KeepsTheFirstOriginatorOfAKey) {
  const auto first = Shared::make<Client>(), second = Shared::make<Client>();
  add(first, {1});
  advance(59);
  add(second, {1});
  EXPECT_EQ(second.useCount(), 1u);
  advance(59);
  report(commandOf(1, 3));
  EXPECT_EQ(first->reports.take(), Lines{"g_1 3/2"});
  EXPECT_EQ(lines.take(), Lines());
}

TEST_F(CommandManager, SettlesACommandWhoseOriginatorThrows) {
  const auto client = Shared::make<Client>([] { throw std::runtime_error("client"); });
  add(client, {1, 2});
  add({}, {3});
  reportUnanswered(commandOf(1, 3));
  reportUnanswered(commandOf(2, 6, 5));
  reportUnanswered(commandOf(3, 3));
  lines.take();
  advance(34);
  EXPECT_EQ(lines.take(), Lines());
  advance(1);
  EXPECT_EQ(lines.take(), Lines{timeoutOf("g_2")});
  advance(60);
  EXPECT_EQ(lines.take(), Lines()) << "1 and 3 were forgotten";
}

// An expiry was once about its key alone, and so forgot the command that was added under the key meanwhile.
TEST_F(CommandManager, TellsAnExpiryFromWhatOvertakesIt) {
  const auto reported = Shared::make<Client>(), expired = Shared::make<Client>(), successor = Shared::make<Client>();
  std::promise<void> held;
  // The event's task forgets one command at a time, and is held at the end of the first one's originator.
  add(Shared::make<Client>(nullptr, [&] { held.get_future().wait(); }), {1});
  add(reported, {2});
  add(expired, {3});
  auto advancing = std::async(std::launch::async, [this] { advance(60); });
  ASSERT_TRUE(lines.waitFor(timeoutOf("g_3")));
  EXPECT_EQ(report(commandOf(2, 3)), "");
  add(successor, {3});
  held.set_value();
  advancing.get();
  EXPECT_EQ(expired.useCount(), 1u);
  EXPECT_EQ(report(commandOf(3, 3)), "");
  EXPECT_EQ(reported->reports.take(), Lines{"g_2 3/2"});
  EXPECT_EQ(successor->reports.take(), Lines{"g_3 3/2"});
  EXPECT_EQ(lines.take(), (Lines{timeoutOf("g_1"), timeoutOf("g_2"), timeoutOf("g_3"),
                                 "CommandManager unable to clean command, unknown originator for key g_2"}));
}

/// Access rules do not apply to explicit instantiation.
Mutex& mutexOf(Proxy::Command::Manager& manager);
template <auto Member>
struct Reached {
  friend Mutex& mutexOf(Proxy::Command::Manager& manager) { return manager.*Member; }
};
template struct Reached<&Proxy::Command::Manager::mutex_>;

// The child waited for ever for a mutex that a thread of the parent had held.
TEST_F(CommandManager, RefusesInAForkedChild) {
  auto used = std::make_unique<Proxy::Command::Manager>(false, "used");
  used->setConnection(manager.getConnection());
  used->add(Shared::make<Client>(), Group("g"), CommandContainerList{commandOf(1)});
  mutexOf(*used).lock();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(300);
    int refused = 0;
    const CommandContainerList list{commandOf(2)};
    const std::function<void()> uses[] = {[&] { used->add({}, Group("g"), list); },
                                          [&] { used->submit({}, Group("g"), list, {}); }, [&] { used->cancel(); },
                                          [&] { used->start(true); }};
    for (const auto& use : uses) {
      try {
        use();
      } catch (const Bus::UnusableMessage&) {
        ++refused;
      }
    }
    used->stop();
    used.reset();
    ::_exit(refused);
  }
  mutexOf(*used).unlock();
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 4) << status;
}

TEST_F(CommandManager, RefusesWhatIsNoProgressCall) {
  Call interface = callBack(COMMAND_INTERFACE), member = callBack(ORIGINATOR_INTERFACE, "cancel"),
       signature = callBack();
  signature.begin().append(1);
  const std::pair<Call*, std::string> rows[] = {
      {&interface, std::string("unknown interface: ") + COMMAND_INTERFACE + ", expected was " + ORIGINATOR_INTERFACE},
      {&member, "unknown member: cancel, expected was progress"},
      {&signature, "bad signature on member progress: i, expected was (utbuviiyisusuyy)(s)i"},
  };
  for (const auto& [call, line] : rows) {
    EXPECT_STREQ(stack.getConnection()->call(*call)->getErrorName(), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(lines.take(), Lines{"Command Originator " + line});
  }
}

TEST_F(CommandManager, StartsWholeOrNotAtAll) {
  Listening other(false, "app");
  other.setConnection(manager.getConnection());
  try {
    other.start(true);
    ADD_FAILURE() << "two of one path";
  } catch (const Exception& error) {
    EXPECT_NE(std::string(error.what()).find("/app/Hevra/Originator"), std::string::npos) << error.what();
  }
  Bus::Message::Signal signal(COMMAND_PATH, COMMAND_INTERFACE, "exception");
  signal.begin().append("text");
  stack.send(signal);
  clock.settle();
  EXPECT_EQ(other.exceptions.take(), Lines());
}

TEST_F(CommandManager, WarnsOnceWhereNoProgressIsHeard) {
  Proxy::Command::Manager nameless(false, "");
  nameless.setConnection(manager.getConnection());
  for (const std::size_t hearers : {0U, 1U, 1U}) {
    const auto client = hearers ? Shared::make<Client>() : Shared::Pointer<Client>();
    EXPECT_THROW(nameless.add(client, Group("g"), CommandContainerList()), Bus::InvalidArgument);
    EXPECT_EQ(lines.count(), hearers);
  }
  EXPECT_EQ(lines.take(), Lines{"CommandManager is not started: commands are sent, but no progress is heard"});
}

}  // namespace
}  // namespace Quarnix::Hevra
