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
using Ids = std::vector<std::uint32_t>;

constexpr const char* INTERFACE = "com.quarnix.Application.Hevra.Manager.Command";
constexpr const char* PATH = "/com/quarnix/Application/HevraZuv/Manager/Command";
constexpr const char* ORIGINATOR = "com.quarnix.Application.HevraZuv.Originator.Command";

Command commandOf(std::uint32_t id, std::uint32_t status = 0, std::uint32_t delay = 0) {
  Command command;
  command.setId(id);
  command.setAddress(0xAB);
  command.setParameterId(0x1234567890);
  command.setStatus(static_cast<HvDetailedCommandStatus>(status));
  command.setDelay(delay, 0);
  return command;
}

CommandContainerList listOf(const Ids& ids) {
  CommandContainerList list;
  for (const std::uint32_t id : ids) list.append(commandOf(id));
  return list;
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

  void add(const Shared::Pointer<Client>& client, const Ids& ids) { manager.add(client, Group("g"), listOf(ids)); }
  /// A "progress" call to the manager's originator, to be filled.
  Call callBack(const char* interface = ORIGINATOR, const char* member = "progress") {
    Call call;
    call.setDestination(manager.getConnection()->getUniqueName());
    call.setPath("/com/quarnix/Application/app/Hevra/Originator");
    call.setInterface(interface);
    call.setMember(member);
    return call;
  }
  Call reportOf(const Command& command) { return Proxy::Test::reportOf(callBack(), command); }
  /// Reports and waits for the answer; the name of the error, empty for a return.
  std::string report(const Command& command) {
    Call call = reportOf(command);
    return stack.getConnection()->call(call)->getErrorName();
  }
  /// The same for a report that gets no answer.
  void reportUnanswered(const Command& command) {
    Call call = reportOf(command);
    call.setNoReplyExpected();
    stack.getConnection()->call(call);
    clock.settle();
  }
  void advance(std::int64_t seconds) { clock.advance(Time::Elapsed(seconds, 0)); }

  LoggedLines lines;
  Time::SimulatedClock clock;
  StackObject stack{"com.quarnix.Application.Hevra", PATH};
  Listening manager{false, "app"};
};

TEST_F(CommandManager, SendsTheGroupOnceEveryCommandIsWaitedFor) {
  const auto client = Shared::make<Client>();
  stack.answer = [this](const Call& call) {
    EXPECT_EQ(report(commandOf(2, 1)), "") << "before the answer to add";
    return Return(call);
  };
  add(client, {1, 2});
  EXPECT_EQ(client->reports.take(), Lines{"g_2 1/2"});
  EXPECT_EQ(lines.take(), Lines());
}

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

/// Commands 1 to 3 expire while the event's task, which erases one at a time, is held at the end of an originator.
class HeldCommandManager : public CommandManager {
 protected:
  void expireAndHold(const Shared::Pointer<Client>& second, std::function<void()> atEndOfThird) {
    add(Shared::make<Client>(nullptr, [this] { held_.get_future().wait(); }), {1});
    add(second, {2});
    add(Shared::make<Client>(nullptr, std::move(atEndOfThird)), {3});
    advancing_ = std::async(std::launch::async, [this] { advance(60); });
    ASSERT_TRUE(lines.waitFor(timeoutOf("g_3")));
  }
  void release() { held_.set_value(); }
  void awaitIdle() { advancing_.get(); }

 private:
  std::promise<void> held_;
  std::future<void> advancing_;
};

TEST_F(HeldCommandManager, LogsAnExpiryThatAFinalReportOvertook) {
  const auto client = Shared::make<Client>();
  expireAndHold(client, nullptr);
  EXPECT_EQ(report(commandOf(2, 3)), "");
  release();
  awaitIdle();
  EXPECT_EQ(lines.take(), (Lines{timeoutOf("g_1"), timeoutOf("g_2"), timeoutOf("g_3"),
                                 "CommandManager unable to clean command, unknown originator for key g_2"}));
  EXPECT_EQ(client->reports.take(), Lines{"g_2 3/2"});
}

// An expiry was once about its key alone, and so forgot the command that was added under the key meanwhile.
TEST_F(HeldCommandManager, BeginsAnotherCommandUnderAKeyWhoseTimeIsOver) {
  const auto expired = Shared::make<Client>(), successor = Shared::make<Client>();
  expireAndHold(expired, nullptr);
  add(successor, {2});
  release();
  awaitIdle();
  EXPECT_EQ(expired.useCount(), 1u);
  EXPECT_EQ(report(commandOf(2, 3)), "");
  EXPECT_EQ(successor->reports.take(), Lines{"g_2 3/2"});
  EXPECT_EQ(lines.take(), (Lines{timeoutOf("g_1"), timeoutOf("g_2"), timeoutOf("g_3")}));
}

// So was a final report, which forgot what the originator added under the key when it was told.
TEST_F(CommandManager, BeginsAnotherCommandUnderAKeyWhoseFinalReportIsTold) {
  const auto second = Shared::make<Client>();
  const auto first = Shared::make<Client>([&] { add(second, {1}); });
  add(first, {1});
  EXPECT_EQ(report(commandOf(1, 4)), "");
  EXPECT_EQ(report(commandOf(1, 3)), "");
  EXPECT_EQ(first->reports.take(), Lines{"g_1 4/2"});
  EXPECT_EQ(second->reports.take(), Lines{"g_1 3/2"});
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
  used->submit(Shared::make<Client>(), Group("g"), listOf({1}), {});
  mutexOf(*used).lock();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(60);
    const std::function<void()> uses[] = {[&] { used->add({}, Group("g"), listOf({2})); },
                                          [&] { used->submit({}, Group("g"), listOf({2}), {}); },
                                          [&] { used->cancel(); }, [&] { used->start(true); }};
    int refused = 0;
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

TEST_F(CommandManager, HandsOnExceptionSignals) {
  const struct {
    const char *interface, *member;
    int arguments;
    Lines lines, exceptions;
  } rows[] = {
      {INTERFACE, "exception", 1, {}, {"text"}},
      {INTERFACE, "other", 1, {"CommandManager exception unknown member: other"}, {}},
      {INTERFACE, "exception", 2, {"CommandManager exception bad signature: ss"}, {}},
      {INTERFACE, "exception", 0, {"CommandManager exception bad signature: "}, {}},
      {"com.quarnix.Application.Zuv.Manager.Command", "exception", 1, {}, {}},
  };
  for (const auto& row : rows) {
    Bus::Message::Signal signal(PATH, row.interface, row.member);
    for (int i = 0; i < row.arguments; ++i) signal.begin().append("text");
    stack.send(signal);
    clock.settle();
    EXPECT_EQ(lines.take(), row.lines);
    EXPECT_EQ(manager.exceptions.take(), row.exceptions);
  }
}

TEST_F(CommandManager, RefusesWhatIsNoProgressCall) {
  Call interface = callBack(INTERFACE), member = callBack(ORIGINATOR, "cancel"), signature = callBack();
  signature.begin().append(1);
  const std::pair<Call*, std::string> rows[] = {
      {&interface, std::string("unknown interface: ") + INTERFACE + ", expected was " + ORIGINATOR},
      {&member, "unknown member: cancel, expected was progress"},
      {&signature, "bad signature on member progress: i, expected was (utbuviiyisusuyy)(s)i"},
  };
  for (const auto& [call, line] : rows) {
    EXPECT_STREQ(stack.getConnection()->call(*call)->getErrorName(), "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(lines.take(), Lines{"Command Originator " + line});
  }
}

TEST_F(CommandManager, StartsWholeOrNotAtAll) {
  for (const auto& [name, path] : {std::pair("app", "/com/quarnix/Application/app/Hevra/Originator"),
                                   std::pair("", "/com/quarnix/Application//Hevra/Originator")}) {
    Listening other(false, name);
    other.setConnection(manager.getConnection());
    try {
      other.start(true);
      ADD_FAILURE() << name;
    } catch (const Exception& error) {
      EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
    }
    Bus::Message::Signal signal(PATH, INTERFACE, "exception");
    signal.begin().append("text");
    stack.send(signal);
    clock.settle();
    EXPECT_EQ(manager.exceptions.take(), Lines{"text"});
    EXPECT_EQ(other.exceptions.take(), Lines());
  }
  Proxy::Command::Manager nameless(false, "");
  nameless.setConnection(manager.getConnection());
  lines.take();
  for (const std::size_t hearers : {0U, 1U, 1U}) {
    const auto client = hearers ? Shared::make<Client>() : Shared::Pointer<Client>();
    EXPECT_THROW(nameless.add(client, Group("g"), CommandContainerList()), Bus::InvalidArgument);
    EXPECT_EQ(lines.count(), hearers);
  }
  EXPECT_EQ(lines.take(), Lines{"CommandManager is not started: commands are sent, but no progress is heard"});
}

}  // namespace
}  // namespace Quarnix::Hevra
