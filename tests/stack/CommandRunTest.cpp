// How the simulated stack carries out and cancels commands.
#include <tests/platform/core/Support.h>
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
  } rows[] = {
      {"delayed", 200, 5, 0, 0, 0, "6/1@0 1/1@5000 2/1@5200 3/2@5400"},
      {"delayed for longer than an hour", 1, 4000, 0, 0, 0, "6/1@0 1/1@4000000 2/1@4000001 3/2@4000002"},
      {"failing", 200, 0, 1, 0, 0, "1/1@0 2/1@200 4/3@400"},
      {"lost", 200, 0, 0, 1, 0, ""},
      {"doubled", 200, 0, 0, 0, 1, "1/1@0 1/1@0 2/1@200 2/1@200 3/2@400 3/2@400"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Options options;
    options.pace = Time::Elapsed::ofMilliseconds(row.pace);
    options.fail = row.fail;
    options.drop = row.drop;
    options.duplicate = row.duplicate;
    stack.serve(options);
    Originator fresh(client.connection, "/fresh");
    std::vector<Command> delayed = commands(1);
    delayed[0].setDelay(row.delay, 0);
    EXPECT_FALSE(client.add(fresh, "g", delayed).isException());
    EXPECT_EQ(stack.commandsInFlight(), row.drop > 0 ? 0U : 1U);
    advance(5'000'000);
    EXPECT_EQ(fresh.get("g_1"), row.reports);
    EXPECT_EQ(stack.commandsInFlight(), 0U);
  }
}

TEST_F(CommandRun, CancelsWhatIsChosen) {
  const struct {
    const char* what;
    Variant variant;
    const char *argument, *cancelled;
  } rows[] = {
      {"all of a variant", Variant::HEVRA, "", "a_1 a_2 b_1 "},
      {"all of the other variant", Variant::ZUV, "", "z_1 "},
      {"a delayed command", Variant::HEVRA, "s'a_2'", "a_2 "},
      {"a key of the other variant", Variant::ZUV, "s'a_1'", ""},
      {"a group without a number", Variant::HEVRA, "s'a'", ""},
      {"a priority", Variant::HEVRA, "u7", "a_1 b_1 "},
      {"no such priority", Variant::HEVRA, "u4294967295", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Originator fresh(client.connection, "/fresh"), other(client.connection, "/other");
    std::vector<Command> two = commands(2), one = commands(1);
    two[0].setAcei(Command::Acei(7, 0, 0));
    one[0].setAcei(Command::Acei(7, 3, 3));
    two[1].setAcei(Command::Acei(6, 0, 0));
    two[1].setDelay(100, 0);
    client.add(fresh, "a", two);
    client.add(other, "b", one);
    client.add(fresh, "z", one, Variant::ZUV);
    advance(100);
    EXPECT_FALSE(client.command(row.variant, "cancel", row.argument).isException());
    advance(1'000'000);
    std::string cancelled;
    auto reports = fresh.get();
    reports.merge(other.get());
    EXPECT_EQ(reports.size(), 4U);
    for (const auto& [name, statuses] : reports) {
      if (statuses.ends_with(" 5/3@100"))
        cancelled += name + " ";
      else
        EXPECT_NE(statuses.find(" 3/2@"), statuses.npos) << name << ": " << statuses;
    }
    EXPECT_EQ(cancelled, row.cancelled);
  }
}

TEST_F(CommandRun, CancelsACommandWhoseReportIsUnderWay) {
  originator.onProgress = [&] { client.command(Variant::HEVRA, "cancel"); };
  client.add(originator, "g", commands(1));
  advance(1000);
  EXPECT_EQ(originator.get("g_1"), "1/1@0 5/3@0");
}

TEST_F(CommandRun, GoesOnWhenAReportIsNotAnswered) {
  Quarnix::Test::CapturingLogger lines;
  originator.onProgress = [] { throw std::runtime_error("no answer"); };
  client.add(originator, "g", commands(1));
  advance(20'000);
  EXPECT_EQ(originator.get("g_1"), "1/1@0 2/1@5200 3/2@10400");
  EXPECT_EQ(stack.commandsInFlight(), 0U);
  int logged = 0;
  for (const std::string& line : lines.get())
    logged += line.starts_with("4 hevra-stackd> no answer to the progress of g_1 from ");
  EXPECT_EQ(logged, 3);
}

TEST_F(CommandRun, DropsTheCommandsOfAClientThatHasGone) {
  auto gone = std::make_unique<Client>();
  auto itsOriginator = std::make_unique<Originator>(gone->connection, "/gone");
  std::vector<Command> delayed = commands(3);
  for (Command& command : delayed) command.setDelay(10 * command.getId(), 0);
  gone->add(*itsOriginator, "g", delayed);
  stack.settle();
  EXPECT_EQ(stack.commandsInFlight(), 3U);
  itsOriginator.reset();
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
  Client client;
  Quarnix::Test::Gate reached, free, done;
  Originator held(client.connection, "/held"), quick(client.connection, "/quick");
  held.onProgress = [&] { reached.open(), free.await(); };
  quick.onProgress = [&] { done.open(); };
  client.add(held, "g", commands(1));
  EXPECT_TRUE(reached.await());
  client.add(quick, "g", commands(1));
  EXPECT_TRUE(done.await(3));
  EXPECT_EQ(reached.count(), 1);
  free.open();
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
