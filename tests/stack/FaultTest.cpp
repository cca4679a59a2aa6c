// Bad calls to the simulated stack, and the faults that it shows on purpose.
#include <thread>

#include <tests/stack/Support.h>

namespace Quarnix::Hevra::Stack::Test {
namespace {

using Fault = StackTest;

TEST_F(Fault, SaysWhatABadCallWants) {
  const std::string add = ", expected (o)(s)a(utbuviiyisusuyy): an originator, a group and its commands";
  const std::pair<Return, std::string> rows[] = {
      {client.command(Variant::ZUV, "add", "s'a' s'b'"), "add was called with the arguments ss" + add},
      {client.command(Variant::HEVRA, "cancel", "i1"),
       "cancel was called with the arguments i, expected none, a key (s) or a priority (u)"},
      {client.reset("i1"), "hardreset was called with the arguments i, expected none"},
  };
  for (const auto& [reply, text] : rows) {
    EXPECT_STREQ(reply.getErrorName(), "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(reply.getErrorText(), text);
  }
  EXPECT_EQ(stack.resets(), 0U);
}

TEST_F(Fault, CarriesOutACallThatItDoesNotAnswer) {
  Options options;
  options.silent = 1;
  stack.serve(options);
  std::string error;
  std::thread caller([&] { error = client.add(originator, "g", commands(1)).getErrorName(); });
  stack.clock().awaitWaiters(1);
  advance(25'000);
  caller.join();
  EXPECT_EQ(error, "org.freedesktop.DBus.Error.NoReply");
  EXPECT_EQ(originator.get("g_1"), "1/1@0 2/1@200 3/2@400");
}

TEST_F(Fault, IsDrawnFromTheSeed) {
  const auto run = [&](std::uint64_t seed, double fail, double drop) {
    Options options;
    options.seed = seed;
    options.fail = fail;
    options.drop = drop;
    stack.serve(options);
    Originator fresh(client.connection, "/fresh");
    client.add(fresh, "g", commands(200));
    advance(1000);
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
