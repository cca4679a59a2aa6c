// Serving objects and owning names; starting, stopping and the end, on both buses.
#include <atomic>
#include <cstdlib>
#include <thread>

#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

class Serving : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Serving);

TEST_P(Serving, TakesAPathOnceInAConnection) {
  const auto connection = open();
  TestServer second(connection), elsewhere(open());
  Service first(connection);
  first.start(true);
  elsewhere.start(true);
  for (const bool wait : {true, false})
    EXPECT_EQ(failureOf([&] { second.start(wait); }),
              "An object is already served at /test/object: expected a path of its own");
  second.stop();
  const TestProxy proxy(open(), NAME);
  EXPECT_EQ(proxy.ask("Echo", "first"), "first");
  first.stop();
  second.start(true);
  EXPECT_EQ(proxy.ask("Echo", "second"), "second");
  EXPECT_EQ(second.calls.count(), 1u);
}

// Nobody read once nothing was started, and the callers waited for their whole time-outs.
TEST_P(Serving, AnswersCallsAlsoWhenNothingIsStartedAnyMore) {
  const auto peer = open();
  const std::function<void(const Shared::Pointer<Connection>&)> reasons[] = {
      [](const auto& connection) { TestServer(connection).start(true); },
      [](const auto& connection) {
        connection->requestName(NAME);
        connection->releaseName(NAME);
      },
      [](const auto& connection) { connection->expectCalls(); }};
  for (const auto& give : reasons) {
    const auto connection = open();
    give(connection);
    EXPECT_EQ(TestProxy(peer, connection->getUniqueName()).ask("Echo"), error("UnknownObject"));
  }
}

TEST_P(Serving, OwnsANameUntilItIsReleasedOrTheConnectionGoes) {
  const auto first = open(), second = open();
  first->requestName(NAME);
  first->requestName(NAME);
  EXPECT_EQ(second->getNameOwner(NAME), first->getUniqueName());
  EXPECT_EQ(failureOf([&] { second->requestName(NAME); }),
            "Cannot own the bus name com.example.Service: another connection has it");
  second->releaseName(NAME);
  EXPECT_EQ(second->getNameOwner(NAME), first->getUniqueName());
  first->releaseName(NAME);
  EXPECT_EQ(second->getNameOwner(NAME), "");
  second->requestName(NAME);
  EXPECT_EQ(first->getNameOwner(NAME), second->getUniqueName());
  EXPECT_NE(failureOf([&] { first->requestName(":1.1"); }).find("Cannot own the bus name :1.1"), std::string::npos);
}

TEST_P(Serving, StopsWhenItsHookIsOverAndStartsAgain) {
  Gate inside, go;
  std::atomic<int> left{0};
  Service server(open(), [&](TestServer& self, const Call& call) {
    inside.open();
    EXPECT_TRUE(go.await());
    if (!left++) {
      self.stop();
      EXPECT_EQ(failureOf([&self] { self.start(true); }),
                "Cannot start the bus object /test/object: it is being stopped by another thread");
    }
    return TestServer::echo(self, call);
  });
  const TestProxy proxy(open(), NAME);
  std::thread caller([&] { EXPECT_EQ(proxy.ask("Echo", "the last"), "the last"); });
  ASSERT_TRUE(inside.await());
  std::thread stopper([&] {
    server.stop();
    EXPECT_EQ(left, 1);
  });
  TestServer second(server.getConnection());
  while (failureOf([&] { second.start(true); }) != "none") {
  }
  second.stop();
  std::thread starter([&] {
    server.start(true);
    EXPECT_EQ(left, 1);
  });
  go.open();
  for (std::thread* thread : {&caller, &stopper, &starter}) thread->join();
  EXPECT_EQ(proxy.ask("Echo", "again"), "again");
}

// What a hook had stopped was not started any more, so that the next stop returned at once, with the hook still inside.
TEST_P(Serving, RefusesWhatWaitsWhenAHookStopsItAndTheNextStopWaitsForTheHook) {
  Time::SimulatedClock clock;
  Gate inside, go, stopped;
  std::atomic<bool> over{false};
  Service server(open(), [&](TestServer& self, const Call& call) {
    inside.open();
    EXPECT_TRUE(go.await());
    self.stop();
    stopped.open();
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    TestServer::echo(self, call);
    return over = true;
  });
  const TestProxy proxy(open(), NAME);
  std::thread inHook([&] { EXPECT_EQ(proxy.ask("Echo", "in the hook"), "in the hook"); });
  ASSERT_TRUE(inside.await());
  std::thread queued([&] { EXPECT_EQ(proxy.ask("Echo", "queued"), error("UnknownObject")); });
  // Who waits has sent, and what is asked behind it on the same connection is answered after it has arrived.
  clock.awaitWaiters(2);
  proxy.introspect();
  go.open();
  EXPECT_TRUE(stopped.await());
  server.stop();
  EXPECT_TRUE(over);
  inHook.join();
  queued.join();
  EXPECT_EQ(server.calls.count(), 1u);
}

TEST_P(Serving, AnswersTheStandardInterfaces) {
  const auto connection = open(), caller = open();
  Service server(connection);
  TestServer child(connection, TestServer::echo, "/test/object/child");
  child.start(true);
  const auto ask = [&caller](const char* path, const std::string& interface, const char* member,
                             const Texts& arguments = {}) {
    Call call;
    call.setInterface(("org.freedesktop.DBus." + interface).c_str());
    call.setMember(member);
    Bus::Message::Iterator iterator = call.begin();
    for (const std::string& argument : arguments) iterator.append(argument);
    const auto reply = TestProxy(caller, NAME, {}, path).send(call);
    return reply->getSignature() + textOf(reply);
  };
  for (const char* path : {PATH, "/elsewhere"}) EXPECT_EQ(ask(path, "Peer", "Ping"), "");
  EXPECT_EQ(ask(PATH, "Peer", "GetMachineId")[0], 's');
  EXPECT_EQ(ask(PATH, "Properties", "GetAll", {INTERFACE}), "a{sv}");
  EXPECT_EQ(ask(PATH, "Properties", "Get", {INTERFACE, "Volume"}), "s" + error("UnknownProperty"));
  EXPECT_EQ(ask("/elsewhere", "Properties", "GetAll", {INTERFACE}), "s" + error("UnknownObject"));
  EXPECT_NE(ask(PATH, "Introspectable", "Introspect").find("<node name=\"child\"/>"), std::string::npos);
  EXPECT_EQ(ask("/", "Introspectable", "Introspect").find("<interface"), std::string::npos);
  EXPECT_EQ(server.calls.count(), 0u);
}

// The daemon, where there is one, goes while the process ends.
TEST_P(Serving, LetsTheProcessEndWithEverythingRunning) {
  EXPECT_EXIT(
      {
        static std::unique_ptr<BusDaemon> daemon;
        new Service(open(), [](TestServer& self, const Call& call) {
          self.ring("x");
          return TestServer::echo(self, call);
        });
        static auto* const proxy = new TestProxy(open(), NAME);
        proxy->start(true);
        for (int i = 0; i < 4; ++i)
          std::thread([] {
            for (;;) proxy->ask("Echo", "x");
          }).detach();
        proxy->signals.await(100);
        daemon = std::move(daemon_);
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace Quarnix::Test
