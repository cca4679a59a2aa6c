// Bad calls to the simulated stack, the faults that it shows by chance, and what a plan does to calls and to reports.
#include <future>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using Fault = StackTest;
using Reports = std::map<std::string, std::string>;

Time::Elapsed milliseconds(std::int64_t count) { return Time::Elapsed::ofMilliseconds(count); }

TEST_F(Fault, SaysWhatABadCallWants) {
  Options options;
  StackNode stackNode;
  RemoteActuatorNode actuator;
  stackNode.setAddress(1);
  actuator.setAddress(2);
  options.nodes = {stackNode, actuator};
  stack.serve(options);
  const std::string controller = "(" + Quarnix::Test::headOf("y6") + ")",
                    strange = "(" + Quarnix::Test::headOf("y1") + ")";
  const auto path = [](const char* name) { return std::string("/com/quarnix/Application/HevraZuv/Manager/") + name; };
  const struct {
    std::string path, interface;
    const char* member;
    std::string arguments;
    const char* text;
    const char* error = "org.freedesktop.DBus.Error.InvalidArgs";
  } rows[] = {
      {path("Command"), commandInterfaceOf(Variant::ZUV), "add", "s'a' s'b'",
       "was called with the arguments ss, expected (o)(s)a(utbuviiyisusuyy): an originator, a group and its commands"},
      {path("Command"), commandInterfaceOf(Variant::HEVRA), "cancel", "i1",
       "was called with the arguments i, expected none, a key (s) or a priority (u)"},
      {path("DaughterBoard"), boardInterface(), "hardreset", "i1", "was called with the arguments i, expected none"},
      {NODE_PATH, NODE_INTERFACE, "getnodes", "s'a'",
       "was called with the arguments s, expected none, a class (y) or a class and a type (yq)"},
      {NODE_PATH, NODE_INTERFACE, "modify", controller + " i3",
       "was called with the action 3, expected 0 (added), 1 (modified) or 2 (removed)"},
      {NODE_PATH, NODE_INTERFACE, "modify", strange + " i1",
       "was called with the class 1 of the node 1, expected one of its kind's record"},
      {NODE_PATH, NODE_INTERFACE, "changekey", "u1 ay0102030405060708090a0b0c0d0e0f",
       "with a key of 15 bytes, expected 16 that are not all zero"},
      {NODE_PATH, NODE_INTERFACE, "changekey", "u2 ay0102030405060708090a0b0c0d0e0f10",
       "was called for 2, which is no stack node's address"},
      {nodePathOf(Variant::ZUV), NODE_INTERFACE, "getnodes", "", "", "org.freedesktop.DBus.Error.UnknownMethod"},
  };
  for (const auto& row : rows) {
    Call call = Quarnix::Test::filled(Call(), row.arguments);
    call.setDestination(NODE_SERVICE);
    call.setPath(row.path);
    call.setInterface(row.interface.c_str());
    call.setMember(row.member);
    const Return reply = *board.getConnection()->call(call);
    EXPECT_STREQ(reply.getErrorName(), row.error);
    EXPECT_TRUE(std::string(reply.getErrorText()).ends_with(row.text)) << reply.getErrorText();
  }
  EXPECT_EQ(stack.resets(), 0U);
}

TEST_F(Fault, IsDrawnFromTheSeed) {
  const auto run = [&](std::uint64_t seed, double fail, double drop) {
    Options options;
    options.seed = seed;
    options.fail = fail;
    options.drop = drop;
    stack.serve(options);
    const auto client = add("g", commands(200));
    advance(100'000);
    return client->reports;
  };
  const Reports failed = run(1, 0.5, 0);
  EXPECT_EQ(run(1, 0.5, 0), failed);
  EXPECT_NE(run(2, 0.5, 0), failed);
  int count = 0;
  for (const auto& [key, statuses] : failed) count += statuses.find("4/3") != statuses.npos;
  EXPECT_EQ(count, 92);  // the same on every machine
  const Reports fewer = run(1, 0.5, 0.25);
  EXPECT_LT(fewer.size(), failed.size());
  for (const auto& [key, statuses] : fewer) EXPECT_EQ(statuses, failed.at(key)) << key;
}

TEST_F(Fault, BefallsTheReportsThatItIsPlannedFor) {
  const std::string whole = "1/1@0 2/1@200 3/2@400";
  const struct {
    Plan plan;
    Reports reports;
    std::size_t logged;  // of what is refused, comes too late or not at all
  } rows[] = {
      {{{.on = "progress", .command = 1, .nth = 2, .times = 1, .effect = Effect::delay(milliseconds(300))}},
       {{"g_1", "1/1@0 2/1@500 3/2@700"}, {"g_2", whole}},
       0},
      {{{.on = "progress", .group = "g", .command = 2, .nth = 2, .effect = Effect::error(ErrorCode(3, 4), "no")}},
       {{"g_1", whole}, {"g_2", "1/1@0 4/3@200"}},
       0},
      {{{.on = "progress", .command = 1, .effect = Effect::silence()},
        {.on = "progress", .group = "other", .effect = Effect::silence()}},
       {{"g_2", whole}},
       1},
      {{{.on = "progress", .nth = 3, .times = 2, .effect = Effect::duplicate()},
        {.on = "progress", .effect = Effect::silence()}},
       {{"g_1", "2/1@200 2/1@200"}, {"g_2", "2/1@200 2/1@200"}},
       2},
      {{{.on = "progress", .command = 2, .effect = Effect::wrongArguments()}}, {{"g_1", whole}}, 7},
      {{{.on = "progress", .command = 1, .nth = 3, .effect = Effect::late()}},
       {{"g_1", "1/1@0 2/1@200"}, {"g_2", whole}},
       2},
      {{{.on = "progress", .nth = 3, .effect = Effect::restart(milliseconds(1000))}},
       {{"g_1", "1/1@0"}, {"g_2", "1/1@0"}},
       2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    stack.plan(row.plan);
    const auto client = add("g", commands(2));
    advance(100'000);
    EXPECT_EQ(client->reports, row.reports);
    EXPECT_EQ(stack.commandsInFlight(), 0U);
    EXPECT_EQ(lines.take().size(), row.logged);
  }
}

TEST_F(Fault, DelaysTheEndOfACancelledCommandOnce) {
  stack.plan({{.on = "progress", .effect = Effect::delay(milliseconds(300))}});
  const auto client = add("g", commands(1));
  advance(100);
  hevra.cancel();
  advance(10'000);
  EXPECT_EQ(client->reports, (Reports{{"g_1", "5/3@400"}}));
}

TEST_F(Fault, BefallsTheCallsThatItIsFor) {
  const std::string failed = "org.freedesktop.DBus.Error.Failed", noReply = "org.freedesktop.DBus.Error.NoReply";
  const struct {
    double refuse, silent;
    Rule rule;
    std::int64_t time;
    std::string outcome;
    std::size_t resets;
  } rows[] = {
      {1, 0, {.on = "cancel", .effect = {}}, 0, failed, 0},
      {0, 1, {.on = "cancel", .effect = {}}, 25'000, noReply, 1},
      {0, 0, {.on = "hardreset", .effect = Effect::delay(milliseconds(500))}, 500, "true", 1},
      {0, 0, {.on = "hardreset", .effect = Effect::error("test.Error", "no")}, 0, "test.Error", 0},
      {0, 0, {.on = "hardreset", .effect = Effect::silence()}, 25'000, noReply, 1},
      {0, 0, {.on = "hardreset", .effect = Effect::late()}, 25'000, noReply, 1},
      {0, 0, {.on = "hardreset", .effect = Effect::wrongArguments()}, 0, "TypeMismatch", 1},
      {0, 0, {.on = "hardreset", .effect = Effect::duplicate()}, 0, "true", 1},
      {0, 0, {.on = "hardreset", .effect = Effect::restart({})}, 0, "org.freedesktop.DBus.Error.NameHasNoOwner", 0},
      {0, 0, {.on = "hardreset", .nth = 2, .effect = Effect::silence()}, 0, "true", 1},
      {0, 0, {.on = "cancel", .effect = Effect::silence()}, 0, "true", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    Options options;
    options.refuse = row.refuse;
    options.silent = row.silent;
    options.plan = {row.rule};
    stack.serve(options);
    auto reply = std::async(std::launch::async, [this] { return reset(); });
    if (row.time > 0) {
      stack.clock().awaitWaiters(1);
      advance(row.time - 1);
      EXPECT_EQ(reply.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
      advance(1);
    }
    EXPECT_EQ(reply.get(), row.outcome);
    EXPECT_EQ(stack.resets(), row.resets);
    advance(10'000);
  }
}

TEST_F(Fault, LeavesATraceOfWhatTheApplicationHasSent) {
  std::vector<Command> two = commands(2);
  two[0].setAddress(0x1001);
  two[0].setWrite(true);
  stack.plan({{.on = "add", .command = 2, .effect = Effect::error("test.Error", "no")}});
  EXPECT_THROW(add("g", two), Return);
  EXPECT_EQ(stack.takeCommands(), (std::vector<std::string>{"g_1 writes  to 0x1001", "g_2 reads 0x0"}));
  EXPECT_EQ(stack.takeCommands(), std::vector<std::string>());
  EXPECT_EQ(stack.lastCommand()->getId(), 2U);
  EXPECT_THROW(FakeStack(), std::logic_error);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
