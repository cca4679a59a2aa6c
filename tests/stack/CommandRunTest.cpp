// How the simulated stack carries out and cancels commands.
#include <platform/hevra/HvTypes.h>
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
    double fail;
    const char* reports;
  } rows[] = {
      {"plain", 200, 0, 0, "1/1@0 2/1@200 3/2@400"},
      {"delayed", 200, 5, 0, "6/1@0 1/1@5000 2/1@5200 3/2@5400"},
      {"delayed for longer than an hour", 1, 4000, 0, "6/1@0 1/1@4000000 2/1@4000001 3/2@4000002"},
      {"as fast as it goes", 0, 0, 0, "1/1@0 2/1@0 3/2@0"},
      {"failing", 200, 0, 1, "1/1@0 2/1@200 4/3@400"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    Options options;
    options.pace = Time::Elapsed::ofMilliseconds(row.pace);
    options.fail = row.fail;
    serve(options);
    Originator fresh(client.connection, "/fresh");
    std::vector<Command> delayed = commands({7});
    delayed[0].setDelay(row.delay, 0);
    EXPECT_FALSE(client.add(fresh, "g", delayed).isException());
    advance(5'000'000);
    EXPECT_EQ(fresh.get("g_7"), row.reports);
    EXPECT_EQ(service->getCommandCount(), 0U);
    service.reset();
  }
}

TEST_F(CommandRun, ReportsTheCommandAsItCame) {
  serve();
  Command command;
  command.setId(0xFFFFFFFF);
  command.setParameterId(0xFFFFFFFFFFFFFFFF);
  command.setAddress(0x123456);
  command.setValue(Shared::make<HvInt64>(INT64_MIN));
  command.setLabel("lamp \xC3\xA9");
  command.setStatus(HvDetailedCommandStatus::FAILED);
  command.getDetailedError().setErrorCode(ErrorCode(9, -5));
  command.setAcei(Command::Acei(0xE3));
  client.add(originator, "", {command});
  advance(1000);
  EXPECT_EQ(originator.get("_4294967295"), "1/1@0 2/1@200 3/2@400");
  const Command last = originator.getLast();
  EXPECT_EQ(last.getParameterId(), command.getParameterId());
  EXPECT_EQ(last.getAddress(), command.getAddress());
  EXPECT_EQ(last.getValue().as<HvInt64>()->getValue(), INT64_MIN);
  EXPECT_EQ(last.getLabel(), command.getLabel());
  EXPECT_EQ(last.getDetailedError().getErrorFieldsToString(), "9/-5");
  EXPECT_EQ(last.getAcei(), command.getAcei());
}

TEST_F(CommandRun, TakesEmptyAndLongLists) {
  Options options;
  options.pace = {};
  serve(options);
  EXPECT_FALSE(client.add(originator, "g", {}).isException());
  std::vector<Command> many(10'000);
  for (std::uint32_t id = 0; id < many.size(); ++id) many[id].setId(id);
  EXPECT_FALSE(client.add(originator, "g", many).isException());
  clock.settle();
  const auto reports = originator.get();
  EXPECT_EQ(reports.size(), many.size());
  for (const auto& [key, statuses] : reports) EXPECT_EQ(statuses, "1/1@0 2/1@0 3/2@0") << key;
}

TEST_F(CommandRun, CancelsWhatIsChosen) {
  const auto key = [](const char* text) { return [=](Bus::Message::Iterator& to) { to.append(text); }; };
  const auto priority = [](std::uint32_t level) { return [=](Bus::Message::Iterator& to) { to.append(level); }; };
  const struct {
    const char* what;
    Variant variant;
    std::function<void(Bus::Message::Iterator&)> argument;
    const char* cancelled;
  } rows[] = {
      {"all of a variant", Variant::HEVRA, {}, "a_1 a_2 b_1 "},
      {"all of the other variant", Variant::ZUV, {}, "z_1 "},
      {"a key", Variant::HEVRA, key("a_1"), "a_1 "},
      {"a delayed command", Variant::HEVRA, key("a_2"), "a_2 "},
      {"a key of the other variant", Variant::ZUV, key("a_1"), ""},
      {"an unknown key", Variant::HEVRA, key("a"), ""},
      {"a priority", Variant::HEVRA, priority(7), "a_1 b_1 "},
      {"no such priority", Variant::HEVRA, priority(0xFFFFFFFF), ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    serve();
    Originator fresh(client.connection, "/fresh"), other(client.connection, "/other");
    std::vector<Command> two = commands({1, 2}), one = commands({1});
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
    service.reset();
  }
}

TEST_F(CommandRun, CancelsACommandWhoseReportIsUnderWay) {
  serve();
  originator.onProgress = [&] { client.command(Variant::HEVRA, "cancel"); };
  client.add(originator, "g", commands({1}));
  advance(1000);
  EXPECT_EQ(originator.get("g_1"), "1/1@0 5/3@0");
}

TEST_F(CommandRun, GoesOnWhenAReportIsNotAnswered) {
  Quarnix::Test::CapturingLogger lines;
  serve();
  originator.onProgress = [] { throw std::runtime_error("no answer"); };
  client.add(originator, "g", commands({1}));
  advance(20'000);
  EXPECT_EQ(originator.get("g_1"), "1/1@0 2/1@5200 3/2@10400");
  EXPECT_EQ(service->getCommandCount(), 0U);
  int logged = 0;
  for (const std::string& line : lines.get())
    logged += line.starts_with("4 hevra-stackd> no answer to the progress of g_1 from ");
  EXPECT_EQ(logged, 3);
}

TEST_F(CommandRun, DropsTheCommandsOfAClientThatHasGone) {
  serve();
  auto gone = std::make_unique<Client>();
  auto itsOriginator = std::make_unique<Originator>(gone->connection, "/gone");
  std::vector<Command> delayed = commands({1, 2, 3});
  for (Command& command : delayed) command.setDelay(10, 0);
  gone->add(*itsOriginator, "g", delayed);
  clock.settle();
  EXPECT_EQ(service->getCommandCount(), 3U);
  itsOriginator.reset();
  gone.reset();
  advance(10'000);
  EXPECT_EQ(service->getCommandCount(), 0U);
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
  client.add(held, "g", commands({1}));
  EXPECT_TRUE(reached.await());
  client.add(quick, "g", commands({1}));
  EXPECT_TRUE(done.await(3));
  EXPECT_EQ(reached.count(), 1);
  free.open();
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
