// Serving objects and owning names; starting, stopping and the end, on both buses.
#include <atomic>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

class Serving : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Serving);

TEST_P(Serving, TakesAPathOnceInAConnection) {
  const auto connection = open();
  TestServer first(connection), second(connection), elsewhere(open());
  TestServer::serve(first, NAME);
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

TEST_P(Serving, TakesCallsOnlyFromTheOwnerOfTheNameThatItWasGiven) {
  Time::SimulatedClock clock;
  const auto owner = open(), stranger = open();
  TestServer server(open());
  server.setCaller("not a name");
  EXPECT_THROW(server.start(true), Bus::InvalidArgument);
  server.setCaller(NAME);
  for (const bool wait : {true, false}) {
    server.start(wait);
    const std::string address = server.getConnection()->getUniqueName();
    const auto ask = [&](const Shared::Pointer<Connection>& from) {
      return TestProxy(from, address).ask("Echo", "admitted");
    };
    EXPECT_EQ(ask(stranger), error("AccessDenied"));
    clock.settle();
    EXPECT_EQ(ask(owner), error("AccessDenied")) << "before it owns the name";
    owner->requestName(NAME);
    EXPECT_EQ(ask(owner), "admitted");
    EXPECT_EQ(ask(stranger), error("AccessDenied"));
    EXPECT_EQ(TestProxy(stranger, address).introspect().empty(), false);
    owner->releaseName(NAME);
    EXPECT_EQ(ask(owner), error("AccessDenied")) << "after it owned the name";
    const std::string warning = " calls from others than the owner of com.example.Service";
    EXPECT_EQ(logger_.get().back(), "4 Bus object /test/object refused 1" + warning);
    clock.advance(Time::Elapsed(1, 0));
    EXPECT_EQ(ask(stranger), error("AccessDenied"));
    clock.settle();
    EXPECT_EQ(logger_.get().back(), "4 Bus object /test/object refused 4" + warning);
    EXPECT_EQ(server.calls.take().size(), 1u);
    EXPECT_EQ(ask(stranger), error("AccessDenied"));
    server.stop();
    EXPECT_EQ(logger_.get().back(), "4 Bus object /test/object refused 1" + warning) << "the last count";
    clock.advance(Time::Elapsed(1, 0));
  }
  EXPECT_EQ(logger_.get().size(), 6u);
}

// Nobody read once nothing was started, and the callers waited for their whole time-outs.
TEST_P(Serving, AnswersCallsAlsoWhenNothingIsStartedAnyMore) {
  const auto peer = open();
  const std::pair<const char*, std::function<void(const Shared::Pointer<Connection>&)>> reasons[] = {
      {"served",
       [](const auto& connection) {
         TestServer server(connection);
         server.start(true);
         server.stop();
       }},
      {"owned",
       [](const auto& connection) {
         connection->requestName(NAME);
         connection->releaseName(NAME);
       }},
      {"expected", [](const auto& connection) { connection->expectCalls(); }}};
  for (const auto& [reason, give] : reasons) {
    const auto connection = open();
    give(connection);
    EXPECT_EQ(TestProxy(peer, connection->getUniqueName()).ask("Echo"), error("UnknownObject")) << reason;
  }
}

TEST_P(Serving, OwnsANameUntilItIsReleasedOrTheConnectionGoes) {
  auto first = open();
  const auto second = open(), third = open();
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
  EXPECT_EQ(third->getNameOwner(NAME), second->getUniqueName());
  EXPECT_NE(failureOf([&] { third->requestName(":1.1"); }).find("Cannot own the bus name :1.1"), std::string::npos);
}

TEST_P(Serving, StopsWhenItsHookIsOverAndStartsAgain) {
  Gate inside, go;
  std::atomic<int> left{0};
  TestServer server(open(), [&](TestServer& self, const Call& call) {
    inside.open();
    EXPECT_TRUE(go.await());
    if (!left++) {
      self.stop();
      EXPECT_EQ(failureOf([&self] { self.start(true); }),
                "Cannot start the bus object /test/object: it is being stopped by another thread");
    }
    return TestServer::echo(self, call);
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  std::thread caller([&] { EXPECT_EQ(proxy.ask("Echo", "the last"), "the last"); });
  ASSERT_TRUE(inside.await());
  std::thread stopper([&] {
    server.stop();
    EXPECT_EQ(left, 1);
  });
  // Until the object is not served any more.
  const auto isServed = [&proxy] {
    try {
      return !proxy.introspect().empty();
    } catch (const Return&) {
      return false;
    }
  };
  while (isServed()) {
  }
  std::thread starter([&] {
    server.start(true);
    EXPECT_EQ(left, 1);
  });
  go.open();
  for (std::thread* thread : {&caller, &stopper, &starter}) thread->join();
  EXPECT_EQ(proxy.ask("Echo", "again"), "again");
}

TEST_P(Serving, RefusesWhatWaitsWhenItIsStopped) {
  Time::SimulatedClock clock;
  Gate inside, go;
  TestServer server(open(), [&](TestServer& self, const Call& call) {
    inside.open();
    EXPECT_TRUE(go.await());
    self.stop();
    return TestServer::echo(self, call);
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  std::thread inHook([&] { EXPECT_EQ(proxy.ask("Echo", "in the hook"), "in the hook"); });
  ASSERT_TRUE(inside.await());
  std::thread queued([&] { EXPECT_EQ(proxy.ask("Echo", "queued"), error("UnknownObject")); });
  // Who waits has sent, and what is asked behind it on the same connection is answered after it has arrived.
  clock.awaitWaiters(2);
  proxy.introspect();
  go.open();
  inHook.join();
  queued.join();
  EXPECT_EQ(server.calls.count(), 1u);
}

// What a hook had stopped was not started any more, so that the next stop returned at once, with the hook still inside.
TEST_P(Serving, StopWaitsForAHookThatHasStoppedTheObject) {
  Gate stopped;
  std::atomic<bool> over{false};
  TestServer server(open(), [&](TestServer& self, const Call& call) {
    self.stop();
    stopped.open();
    for (int i = 0; i < 1000; ++i) std::this_thread::yield();
    TestServer::echo(self, call);
    return over = true;
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  std::thread caller([&] { EXPECT_EQ(proxy.ask("Echo", "the last"), "the last"); });
  EXPECT_TRUE(stopped.await());
  server.stop();
  EXPECT_TRUE(over);
  caller.join();
}

TEST_P(Serving, MayBeStoppedFromHooks) {
  const auto connection = open();
  std::vector<std::unique_ptr<TestServer>> servers;
  Gate both;
  // Each stops itself and the other, at the same time.
  for (const char* path : {"/one", "/two"})
    servers.push_back(std::make_unique<TestServer>(
        connection,
        [&](TestServer& self, const Call& call) {
          both.open();
          EXPECT_TRUE(both.await(2));
          for (const auto& server : servers) server->stop();
          return TestServer::echo(self, call);
        },
        path));
  for (const auto& server : servers) TestServer::serve(*server, NAME);
  const auto caller = open();
  const TestProxy one(caller, NAME, {}, "/one"), two(caller, NAME, {}, "/two");
  std::thread other([&] { EXPECT_EQ(two.ask("Echo", "last of two"), "last of two"); });
  EXPECT_EQ(one.ask("Echo", "last of one"), "last of one");
  other.join();
  EXPECT_EQ(one.ask("Echo"), error("UnknownObject"));
  EXPECT_EQ(two.ask("Echo"), error("UnknownObject"));

  Recorder<std::string> heard;
  TestProxy proxy(caller, NAME, [&heard](TestProxy& self, const Signal& signal) {
    heard.add(textOf(signal));
    self.stop();
  });
  proxy.start(true);
  for (const char* text : {"first", "second"}) {
    Signal signal = signalOf("Rang", text);
    connection->send(signal);
  }
  EXPECT_TRUE(heard.await(1));
  roundTrip(connection);
  roundTrip(caller);
  proxy.start(true);
  EXPECT_EQ(heard.all(), std::vector<std::string>{"first"});
}

TEST_P(Serving, EndsUnderTraffic) {
  const auto connection = open();
  const auto caller = open();
  std::atomic<bool> over{false};
  std::thread traffic([&] {
    const TestProxy proxy(caller, NAME);
    while (!over) {
      proxy.ask("Echo", "x");
      Signal signal = signalOf("Rang", "x");
      connection->send(signal);
    }
  });
  connection->requestName(NAME);
  for (int i = 0; i < 50; ++i) {
    TestServer server(connection);
    server.start(true);
    TestProxy proxy(caller, NAME);
    proxy.start(true);
    EXPECT_TRUE(server.calls.await(1));
    EXPECT_TRUE(proxy.signals.await(1));
  }
  over = true;
  traffic.join();
}

TEST_P(Serving, AnswersTheStandardInterfaces) {
  const auto connection = open();
  TestServer server(connection), child(connection, TestServer::echo, "/test/object/child");
  TestServer::serve(server, NAME);
  child.start(true);
  const auto caller = open();
  const auto ask = [&caller](const char* path, const char* interface, const char* member, auto... arguments) {
    const TestProxy proxy(caller, NAME, {}, path);
    Call call;
    call.setInterface((std::string("org.freedesktop.DBus.") + interface).c_str());
    call.setMember(member);
    if constexpr (sizeof...(arguments) > 0) call.begin().append(arguments...);
    const auto reply = proxy.send(call);
    return std::string(reply->getSignature()) + " " + textOf(reply);
  };
  EXPECT_EQ(ask(PATH, "Peer", "Ping"), " ");
  EXPECT_EQ(ask("/elsewhere", "Peer", "Ping"), " ");
  EXPECT_EQ(ask(PATH, "Peer", "GetMachineId").substr(0, 2), "s ");
  EXPECT_EQ(ask(PATH, "Properties", "GetAll", INTERFACE), "a{sv} ");
  EXPECT_EQ(ask(PATH, "Properties", "Get", INTERFACE, "Volume"), "s " + error("UnknownProperty"));
  EXPECT_EQ(ask("/elsewhere", "Properties", "GetAll", INTERFACE), "s " + error("UnknownObject"));
  const std::string description = TestProxy(caller, NAME).introspect();
  EXPECT_NE(description.find("<node name=\"child\"/>"), std::string::npos) << description;
  EXPECT_EQ(TestProxy(caller, NAME, {}, "/").introspect().find("<interface"), std::string::npos);
  EXPECT_EQ(server.calls.count(), 0u);
}

// The daemon, where there is one, goes while the process ends.
TEST_P(Serving, LetsTheProcessEndWithEverythingRunning) {
  EXPECT_EXIT(
      {
        static std::unique_ptr<BusDaemon> daemon;
        static auto* const server = new TestServer(open(), [](TestServer& self, const Call& call) {
          Signal signal = signalOf("Rang", "x");
          self.send(signal);
          return TestServer::echo(self, call);
        });
        TestServer::serve(*server, NAME);
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
