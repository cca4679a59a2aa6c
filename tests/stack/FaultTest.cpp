// Bad calls to the simulated stack, and the faults that it shows on purpose.
#include <thread>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using Fault = StackTest;

TEST_F(Fault, AnswersABadCallWithAnError) {
  serve();
  const std::string commandPath = "/com/quarnix/Application/HevraZuv/Manager/Command";
  const std::string boardPath = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard";
  const std::string hevra = "com.quarnix.Application.Hevra.Manager.";
  const std::function<void(Bus::Message::Iterator&)> none;
  const auto number = [](Bus::Message::Iterator& to) { to.append(std::int32_t{1}); };
  const auto two = [](Bus::Message::Iterator& to) { to.append("a", "b"); };
  const struct {
    std::string path, interface, member;
    std::function<void(Bus::Message::Iterator&)> append;
    const char* error;
    const char* text;
  } rows[] = {
      {commandPath, hevra + "Command", "add", none, "InvalidArgs",
       "add was called with no arguments, expected (o)(s)a(utbuviiyisusuyy): an originator, a group and its commands"},
      {commandPath, hevra + "Command", "add", two, "InvalidArgs",
       "add was called with the arguments ss, expected (o)(s)a(utbuviiyisusuyy): an originator, a group and its "
       "commands"},
      {commandPath, hevra + "Command", "cancel", number, "InvalidArgs",
       "cancel was called with the arguments i, expected none, a key (s) or a priority (u)"},
      {commandPath, hevra + "Command", "cancel", two, "InvalidArgs",
       "cancel was called with the arguments ss, expected none, a key (s) or a priority (u)"},
      {commandPath, hevra + "Command", "remove", none, "UnknownMethod", nullptr},
      {commandPath, hevra + "DaughterBoard", "add", none, "UnknownMethod", nullptr},
      {boardPath, hevra + "DaughterBoard", "hardreset", number, "InvalidArgs",
       "hardreset was called with the arguments i, expected none"},
      {boardPath, hevra + "DaughterBoard", "softreset", none, "UnknownMethod", nullptr},
      {boardPath, hevra + "Command", "hardreset", none, "UnknownMethod", nullptr},
      {boardPath + "s", hevra + "DaughterBoard", "hardreset", none, "UnknownObject", nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.interface + " " + row.member);
    const Return reply = client.call(row.path, row.interface, row.member, row.append);
    EXPECT_EQ(reply.getErrorName(), std::string("org.freedesktop.DBus.Error.") + row.error);
    if (row.text) {
      EXPECT_STREQ(reply.getErrorText(), row.text);
    } else {
      EXPECT_STRNE(reply.getErrorText(), "");
    }
  }
  EXPECT_EQ(service->getResetCount(), 0U);
}

TEST_F(Fault, RefusesCallsWithoutCarryingThemOut) {
  Options options;
  options.refuse = 1;
  serve(options);
  EXPECT_STREQ(client.reset().getErrorName(), "org.freedesktop.DBus.Error.Failed");
  const Return reply = client.add(originator, "g", commands({1}));
  EXPECT_STREQ(reply.getErrorText(), "The simulated stack refuses this add");
  advance(1000);
  EXPECT_EQ(service->getResetCount(), 0U);
  EXPECT_EQ(originator.get("g_1"), "");
}

TEST_F(Fault, CarriesOutACallThatItDoesNotAnswer) {
  Options options;
  options.silent = 1;
  serve(options);
  std::string error;
  std::thread caller([&] { error = client.add(originator, "g", commands({1})).getErrorName(); });
  clock.awaitWaiters(1);
  advance(25'000);
  caller.join();
  EXPECT_EQ(error, "org.freedesktop.DBus.Error.NoReply");
  EXPECT_EQ(originator.get("g_1"), "1/1@0 2/1@200 3/2@400");
}

TEST_F(Fault, LosesOrDoublesProgress) {
  const struct {
    double drop, duplicate;
    const char* reports;
  } rows[] = {{1, 0, ""}, {0, 1, "1/1@0 1/1@0 2/1@200 2/1@200 3/2@400 3/2@400"}};
  for (const auto& row : rows) {
    Options options;
    options.drop = row.drop;
    options.duplicate = row.duplicate;
    serve(options);
    Originator fresh(client.connection, "/fresh");
    EXPECT_FALSE(client.add(fresh, "g", commands({1})).isException());
    EXPECT_EQ(service->getCommandCount(), row.drop > 0 ? 0U : 1U);
    advance(1000);
    EXPECT_EQ(fresh.get("g_1"), row.reports);
    service.reset();
  }
}

TEST_F(Fault, IsDrawnFromTheSeed) {
  std::vector<Command> many(200);
  for (std::uint32_t id = 0; id < many.size(); ++id) many[id].setId(id);
  const auto run = [&](std::uint64_t seed, double fail, double drop) {
    Options options;
    options.seed = seed;
    options.fail = fail;
    options.drop = drop;
    serve(options);
    Originator fresh(client.connection, "/fresh");
    client.add(fresh, "g", many);
    advance(1000);
    service.reset();
    return fresh.get();
  };
  const auto failed = run(1, 0.5, 0);
  EXPECT_EQ(run(1, 0.5, 0), failed);
  EXPECT_NE(run(2, 0.5, 0), failed);
  int count = 0;
  for (const auto& [key, statuses] : failed) count += statuses.find("4/3") != statuses.npos;
  EXPECT_EQ(count, 92);  // the same on every machine
  const auto fewer = run(1, 0.5, 0.25);
  EXPECT_LT(fewer.size(), failed.size());
  for (const auto& [key, statuses] : fewer) EXPECT_EQ(statuses, failed.at(key)) << key;
}

}  // namespace
}  // namespace Quarnix::Hevra::Stack::Test
