// How the simulated stack carries out and cancels commands.
#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using CommandRun = StackTest;

TEST_F(CommandRun, ReportsEachStatusInItsTime) {
  const struct {
    const char* what;
    std::int64_t pace;
    std::uint32_t delay;
    double fail, drop, duplicate;
    const char* reports;
    std::size_t logged;  // for a command that is lost, and for a final report that comes again
  } rows[] = {
      {"delayed", 200, 5, 0, 0, 0, "6/1@0 1/1@5000 2/1@5200 3/2@5400", 0},
      {"delayed for longer than an hour", 1, 4000, 0, 0, 0, "6/1@0 1/1@4000000 2/1@4000001 3/2@4000002", 0},
      {"failing", 200, 0, 1, 0, 0, "1/1@0 2/1@200 4/3@400", 0},
      {"lost", 200, 0, 0, 1, 0, "", 1},
      {"doubled", 200, 0, 0, 0, 1, "1/1@0 1/1@0 2/1@200 2/1@200 3/2@400", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Options options;
    options.pace = Time::Elapsed::ofMilliseconds(row.pace);
    options.fail = row.fail;
    options.drop = row.drop;
    options.duplicate = row.duplicate;
    stack.serve(options);
    std::vector<Command> delayed = commands(1);
    delayed[0].setDelay(row.delay, 0);
    const auto client = add("g", delayed);
    EXPECT_EQ(stack.commandsInFlight(), row.drop > 0 ? 0U : 1U);
    advance(5'000'000);
    EXPECT_EQ(client->reports["g_1"], row.reports);
    EXPECT_EQ(stack.commandsInFlight(), 0U);
    EXPECT_EQ(lines.take().size(), row.logged);
  }
}

TEST_F(CommandRun, CancelsWhatIsChosen) {
  const struct {
    const char* what;
    std::function<void()> cancel;
    const char* cancelled;
  } rows[] = {
      {"all of a variant", [this] { hevra.cancel(); }, "a_1 a_2 b_1 "},
      {"all of the other variant", [this] { zuv.cancel(); }, "z_1 "},
      {"a delayed command", [this] { hevra.cancel("a_2"); }, "a_2 "},
      {"a key of the other variant", [this] { zuv.cancel("a_1"); }, ""},
      {"a group without a number", [this] { hevra.cancel("a"); }, ""},
      {"a priority", [this] { hevra.cancel(HomeAutomation::Command::Priority(7)); }, "a_1 b_1 "},
      {"no such priority", [this] { hevra.cancel(HomeAutomation::Command::Priority(4294967295)); }, ""},
  };
  Hevra::Proxy::Command::Manager another(false, "another");
  another.start(true);
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    std::vector<Command> two = commands(2), one = commands(1);
    two[0].setAcei(Command::Acei(7, 0, 0));
    one[0].setAcei(Command::Acei(7, 3, 3));
    two[1].setAcei(Command::Acei(6, 0, 0));
    two[1].setDelay(100, 0);
    const auto a = add("a", two), b = Shared::make<Originator>(), z = Shared::make<Originator>();
    another.add(b, Group("b"), Commands{one[0]});
    zuv.add(z, Group("z"), Commands{one[0]});
    advance(100);
    row.cancel();
    advance(1'000'000);
    std::string cancelled;
    for (const auto& originator : {a, b, z})
      for (const auto& [name, statuses] : originator->reports) {
        if (statuses.ends_with(" 5/3@100"))
          cancelled += name + " ";
        else
          EXPECT_NE(statuses.find(" 3/2@"), statuses.npos) << name << ": " << statuses;
      }
    EXPECT_EQ(cancelled, row.cancelled);
    EXPECT_EQ(lines.take(), Lines()) << "each has come to its end";
  }
}

TEST_F(CommandRun, CancelsACommandWhoseReportIsUnderWay) {
  const auto client = Shared::make<Originator>();
  client->then = [this] { hevra.cancel(); };
  add("g", commands(1), client);
  advance(1000);
  EXPECT_EQ(client->reports["g_1"], "1/1@0 5/3@0");
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

// On the steady clock: a hook that is held up keeps a simulated one from being idle.
TEST(CommandRunHeldUp, KeepsOtherOriginatorsCommandsGoing) {
  Options options;
  options.pace = {};
  Service service(options, Bus::Connection::open("in-process"));
  service.start();
  Harness::Gate reached, free, done;
  const auto held = Shared::make<Originator>(), quick = Shared::make<Originator>();
  held->then = [&] { reached.open(), free.await(); };
  quick->then = [&] { done.open(); };
  Hevra::Proxy::Command::Manager one(false, "one"), other(false, "other");
  for (auto* manager : {&one, &other}) {
    manager->setConnection(Bus::Connection::open("in-process"));
    manager->start(true);
    manager->add(manager == &one ? held : quick, Group("g"), Commands{commands(1)[0]});
    EXPECT_TRUE((manager == &one ? reached : done).await(manager == &one ? 1 : 3));
  }
  EXPECT_EQ(reached.count(), 1);
  free.open();
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
