// How the simulated stack carries out and cancels commands, and the faults that it shows by chance or by plan.
#include <algorithm>
#include <future>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using CommandRun = StackTest;
using Fault = StackTest;
using Reports = std::map<std::string, std::string>;

Time::Elapsed milliseconds(std::int64_t count) { return Time::Elapsed::ofMilliseconds(count); }

TEST_F(Fault, IsDrawnFromTheSeed) {
  const auto run = [&](std::uint64_t seed, double drop) {
    stack.serve({.seed = seed, .drop = drop, .fail = 0.5});
    const auto client = add("g", commands(200));
    advance(100'000);
    return client->reports;
  };
  const Reports failed = run(1, 0);
  EXPECT_EQ(
      std::count_if(failed.begin(), failed.end(), [](const auto& one) { return one.second.ends_with("4/3@400"); }),
      92);  // the same on every machine
  EXPECT_NE(run(2, 0), failed);
  const Reports fewer = run(1, 0.25);
  EXPECT_LT(fewer.size(), failed.size());
  for (const auto& [key, statuses] : fewer) EXPECT_EQ(statuses, failed.at(key)) << key;
}

TEST_F(Fault, IsARateOrTheTimeOfReports) {
  const struct {
    Options options;
    std::uint32_t delay;
    std::string reports;
    std::size_t logged;  // for a command that is lost, and for a final report that comes again
  } rows[] = {
      {{}, 5, "6/1@0 1/1@5000 2/1@5200 3/2@5400", 0},
      {{.pace = milliseconds(1)}, 4000, "6/1@0 1/1@4000000 2/1@4000001 3/2@4000002", 0},
      {{.drop = 1}, 0, "", 1},
      {{.fail = 1}, 0, "1/1@0 2/1@200 4/3@400", 0},
      {{.duplicate = 1}, 0, "1/1@0 1/1@0 2/1@200 2/1@200 3/2@400", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    stack.serve(row.options);
    std::vector<Command> delayed = commands(1);
    delayed[0].setDelay(row.delay, 0);
    const auto client = add("g", delayed);
    EXPECT_EQ(stack.commandsInFlight(), row.reports.empty() ? 0U : 1U);
    advance(5'000'000);
    EXPECT_EQ(client->reports["g_1"], row.reports);
    EXPECT_EQ(stack.commandsInFlight(), 0U);
    EXPECT_EQ(lines.take().size(), row.logged);
  }
}

TEST_F(Fault, BefallsTheReportsThatItIsPlannedFor) {
  const std::string whole = "1/1@0 2/1@200 3/2@400", twice = "2/1@200 2/1@200";
  const auto one = [](std::uint32_t id, std::uint32_t nth, std::uint32_t times, const Effect& effect) {
    return Rule{.on = "progress", .group = "g", .command = id, .nth = nth, .times = times, .effect = effect};
  };
  const struct {
    Plan plan;
    std::string first, second;  // reports
    std::size_t logged;         // of what is refused, comes too late or not at all
  } rows[] = {
      {{one(1, 2, 1, Effect::delay(milliseconds(300)))}, "1/1@0 2/1@500 3/2@700", whole, 0},
      {{one(2, 2, 9, Effect::error(ErrorCode(3, 4), "no"))}, whole, "1/1@0 4/3@200", 0},
      {{one(1, 1, 9, Effect::silence())}, "", whole, 1},
      {{{.on = "progress", .group = "other", .effect = Effect::silence()}}, whole, whole, 0},
      {{{.on = "progress", .nth = 3, .times = 2, .effect = Effect::duplicate()},
        {.on = "progress", .effect = Effect::silence()}},
       twice,
       twice,
       2},
      {{one(2, 1, 9, Effect::wrongArguments())}, whole, "", 7},
      {{one(1, 3, 9, Effect::late())}, "1/1@0 2/1@200", whole, 2},
      {{{.on = "progress", .nth = 3, .effect = Effect::restart(milliseconds(1000))}}, "1/1@0", "1/1@0", 2},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    stack.plan(row.plan);
    const auto client = add("g", commands(2));
    advance(100'000);
    EXPECT_EQ(client->reports["g_1"], row.first);
    EXPECT_EQ(client->reports["g_2"], row.second);
    EXPECT_EQ(stack.commandsInFlight(), 0U);
    EXPECT_EQ(lines.take().size(), row.logged);
  }
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
    stack.serve({.refuse = row.refuse, .silent = row.silent, .plan = {row.rule}});
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

TEST_F(CommandRun, CancelsWhatIsChosen) {
  const std::pair<std::function<void()>, const char*> rows[] = {
      {[this] { hevra.cancel(); }, "a_1 a_2 b_1 "},
      {[this] { zuv.cancel(); }, "z_1 "},
      {[this] { hevra.cancel("a_2"); }, "a_2 "},
      {[this] { zuv.cancel("a_1"); }, ""},
      {[this] { hevra.cancel("a"); }, ""},
      {[this] { hevra.cancel(HomeAutomation::Command::Priority(7)); }, "a_1 b_1 "},
      {[this] { hevra.cancel(HomeAutomation::Command::Priority(4294967295)); }, ""},
  };
  Hevra::Proxy::Command::Manager another(false, "another");
  another.start(true);
  for (const auto& [cancel, expected] : rows) {
    SCOPED_TRACE(expected);
    std::vector<Command> two = commands(2), one = commands(1);
    two[0].setAcei(Command::Acei(7, 0, 0));
    one[0].setAcei(Command::Acei(7, 3, 3));
    two[1].setAcei(Command::Acei(6, 0, 0));
    two[1].setDelay(100, 0);
    const auto a = add("a", two), b = Shared::make<Originator>(), z = Shared::make<Originator>();
    another.add(b, Group("b"), Commands{one[0]});
    zuv.add(z, Group("z"), Commands{one[0]});
    advance(100);
    cancel();
    advance(1'000'000);
    std::string cancelled, completed;
    for (const auto& originator : {a, b, z})
      for (const auto& [name, statuses] : originator->reports)
        (statuses.ends_with(" 5/3@100") ? cancelled : completed) += name + " ";
    EXPECT_EQ(cancelled, expected);
    EXPECT_EQ(cancelled.size() + completed.size(), 16U);
    EXPECT_EQ(lines.take(), Lines()) << "each has come to its end";
  }
}

TEST_F(CommandRun, CancelsACommandWhoseReportIsUnderWayOrLate) {
  const auto client = Shared::make<Originator>();
  client->then = [this] { hevra.cancel(); };
  add("g", commands(1), client);
  advance(1000);
  EXPECT_EQ(client->reports["g_1"], "1/1@0 5/3@0");

  stack.plan({{.on = "progress", .effect = Effect::delay(milliseconds(300))}});
  const auto late = add("g", commands(1));
  advance(100);
  hevra.cancel();
  advance(10'000);
  EXPECT_EQ(late->reports["g_1"], "5/3@400");
}

TEST_F(CommandRun, GoesOnWhenAReportIsNotAnswered) {
  const auto client = Shared::make<Originator>();
  client->then = [] { throw std::runtime_error("no answer"); };
  add("g", commands(1), client);
  advance(20'000);
  EXPECT_EQ(client->reports["g_1"], "1/1@0 2/1@5200 3/2@10400");
  EXPECT_EQ(stack.commandsInFlight(), 0U);
  int logged = 0;
  for (const std::string& line : lines.take())
    logged += line.starts_with("hevra-stackd> no answer to the progress of g_1 from ");
  EXPECT_EQ(logged, 3);
}

TEST_F(CommandRun, DropsTheCommandsOfAClientThatHasGone) {
  auto gone = std::make_unique<Hevra::Proxy::Command::Manager>(false, "gone");
  gone->setConnection(Bus::Connection::open("in-process"));
  gone->start(true);
  std::vector<Command> delayed = commands(3);
  for (Command& command : delayed) command.setDelay(10 * command.getId(), 0);
  gone->add(Shared::make<Originator>(), Group("g"), Commands(delayed.begin(), delayed.end()));
  stack.settle();
  EXPECT_EQ(stack.commandsInFlight(), 3U);
  gone.reset();
  advance(10'000);
  EXPECT_EQ(stack.commandsInFlight(), 0U);
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
