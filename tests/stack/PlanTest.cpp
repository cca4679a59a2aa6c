// What a plan does to calls and to reports.
#include <future>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using PlannedFault = StackTest;
using Reports = std::map<std::string, std::string>;

Time::Elapsed milliseconds(std::int64_t count) { return Time::Elapsed::ofMilliseconds(count); }

TEST_F(PlannedFault, BefallsTheReportsThatItIsFor) {
  const std::string whole = "1/1@0 2/1@200 3/2@400";
  const struct {
    Plan plan;
    Reports reports;
  } rows[] = {
      {{{.on = "progress", .command = 1, .nth = 2, .times = 1, .effect = Effect::delay(milliseconds(300))}},
       {{"g_1", "1/1@0 2/1@500 3/2@700"}, {"g_2", whole}}},
      {{{.on = "progress", .group = "g", .command = 2, .nth = 2, .effect = Effect::error(ErrorCode(3, 4), "no")}},
       {{"g_1", whole}, {"g_2", "1/1@0 4/3@200"}}},
      {{{.on = "progress", .command = 1, .effect = Effect::silence()},
        {.on = "progress", .group = "other", .effect = Effect::silence()}},
       {{"g_2", whole}}},
      {{{.on = "progress", .nth = 5, .effect = Effect::duplicate()}, {.on = "progress", .effect = Effect::silence()}},
       {{"g_1", "3/2@400 3/2@400"}, {"g_2", "3/2@400 3/2@400"}}},
      {{{.on = "progress", .command = 2, .effect = Effect::wrongArguments()}}, {{"g_1", whole}, {"y", "???"}}},
      {{{.on = "progress", .command = 1, .nth = 3, .effect = Effect::late()}},
       {{"g_1", "1/1@0 2/1@200 3/2@65400"}, {"g_2", whole}}},
      {{{.on = "progress", .nth = 3, .effect = Effect::restart(milliseconds(1000))}},
       {{"g_1", "1/1@0"}, {"g_2", "1/1@0"}}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    stack.plan(row.plan);
    Originator fresh(client.connection, "/fresh");
    client.add(fresh, "g", commands(2));
    advance(100'000);
    EXPECT_EQ(fresh.get(), row.reports);
    EXPECT_EQ(stack.commandsInFlight(), 0U);
  }
}

TEST_F(PlannedFault, BefallsTheCallsThatItIsFor) {
  const struct {
    Rule rule;
    std::int64_t time;
    std::string outcome;
    std::size_t resets;
  } rows[] = {
      {{.on = "hardreset", .effect = Effect::delay(milliseconds(500))}, 500, "b", 1},
      {{.on = "hardreset", .effect = Effect::error("test.Error", "no")}, 0, "test.Error", 0},
      {{.on = "hardreset", .effect = Effect::silence()}, 25'000, "org.freedesktop.DBus.Error.NoReply", 1},
      {{.on = "hardreset", .effect = Effect::late()}, 25'000, "org.freedesktop.DBus.Error.NoReply", 1},
      {{.on = "hardreset", .effect = Effect::wrongArguments()}, 0, "y", 1},
      {{.on = "hardreset", .effect = Effect::duplicate()}, 0, "b", 1},
      {{.on = "hardreset", .effect = Effect::restart({})}, 0, "org.freedesktop.DBus.Error.NameHasNoOwner", 0},
      {{.on = "hardreset", .nth = 2, .effect = Effect::silence()}, 0, "b", 1},
      {{.on = "cancel", .effect = Effect::silence()}, 0, "b", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    const std::size_t before = stack.resets();
    stack.plan({row.rule});
    auto reply = std::async(std::launch::async, [this] { return client.reset(); });
    if (row.time > 0) {
      stack.clock().awaitWaiters(1);
      advance(row.time - 1);
      EXPECT_EQ(reply.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
      advance(1);
    }
    const Return answer = reply.get();
    EXPECT_EQ(answer.isException() ? answer.getErrorName() : answer.getSignature(), row.outcome);
    EXPECT_EQ(stack.resets() - before, row.resets);
    advance(10'000);
  }
}

TEST_F(PlannedFault, LetsTheServiceGoAndComeBack) {
  client.add(originator, "g", commands(1));
  stack.restart(std::chrono::milliseconds(1000));
  EXPECT_STREQ(client.reset().getErrorName(), "org.freedesktop.DBus.Error.ServiceUnknown");
  advance(1000);
  EXPECT_FALSE(client.reset().isException());
  EXPECT_EQ(originator.get("g_1"), "1/1@0");
}

TEST_F(PlannedFault, LeavesATraceOfWhatTheApplicationHasSent) {
  std::vector<Command> two = commands(2);
  two[0].setAddress(0x1001);
  two[0].setWrite(true);
  stack.plan({{.on = "add", .command = 2, .effect = Effect::error("test.Error", "no")}});
  EXPECT_TRUE(client.add(originator, "g", two).isException());
  EXPECT_EQ(stack.takeCommands(), (std::vector<std::string>{"g_1 writes  to 0x1001", "g_2 reads 0x0"}));
  EXPECT_EQ(stack.takeCommands(), std::vector<std::string>());
  EXPECT_EQ(stack.lastCommand()->getId(), 2U);
  EXPECT_THROW(FakeStack(), std::logic_error);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
