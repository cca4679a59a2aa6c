// Calls and their replies, on both buses.
#include <future>
#include <thread>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Time::Elapsed;
using Time::SimulatedClock;

class Calls : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Calls);

TEST_P(Calls, EndWithTheReplyOrTheErrorOfWhoeverIsToBlame) {
  TestServer server(open(), [](TestServer& self, const Call& call) {
    const std::string member = call.getMember();
    if (member == "Refused") return false;
    if (member == "Fails") {
      Return reply(call, "com.example.Error.Worn", "out");
      self.send(reply);
      return true;
    }
    return TestServer::echo(self, call);
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  EXPECT_EQ(proxy.ask("Echo", "text"), "text");
  const std::string large(5 << 20, 'x');
  EXPECT_EQ(proxy.ask("Echo", large), error("LimitsExceeded"));
  server.getConnection()->setLargestMessage(6 << 20, 6 << 20);
  EXPECT_EQ(proxy.ask("Echo", large).size(), large.size());
  proxy.getConnection()->setLargestMessage(6 << 20, 1 << 20);
  EXPECT_EQ(proxy.ask("Echo", large), error("LimitsExceeded")) << "the reply";
  EXPECT_EQ(server.calls.count(), 3u);
  EXPECT_EQ(proxy.ask("Refused"), error("UnknownMethod"));
  EXPECT_EQ(proxy.ask("Fails"), "!com.example.Error.Worn");
  EXPECT_EQ(TestProxy(open(), NAME, {}, "/not/served").ask("Echo"), error("UnknownObject"));
  EXPECT_EQ(TestProxy(open(), "com.example.Nobody").ask("Echo"), error("ServiceUnknown"));
  EXPECT_EQ(TestProxy(open(), ":1.4096").ask("Echo"), error("ServiceUnknown"));
  EXPECT_EQ(TestProxy(open(), server.getConnection()->getUniqueName()).ask("Echo", "direct"), "direct");
}

TEST_P(Calls, ThatExpectNoReplyGetNone) {
  TestServer server(open(), [](TestServer& self, const Call& call) {
    return std::string_view(call.getMember()) == "Echo" && TestServer::echo(self, call);
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  for (const char* member : {"Echo", "Refused"}) {
    Call call = callTo(member, "text");
    call.setNoReplyExpected();
    const auto reply = proxy.send(call);
    EXPECT_FALSE(reply->isException());
    EXPECT_STREQ(reply->getSignature(), "");
  }
  EXPECT_EQ(proxy.ask("Echo", "next"), "next");
  EXPECT_EQ(server.calls.count(), 3u);
  // A daemon refuses what nobody waits for.
  if (daemon_) {
    EXPECT_EQ(daemon_->log().find("Rejected"), std::string::npos) << daemon_->log();
  }
}

TEST_P(Calls, EndExactlyAtTheirDeadlineAndIgnoreALateReply) {
  SimulatedClock clock;
  TestServer server(open(), [](TestServer& self, const Call& call) {
    return std::string_view(call.getMember()) == "Wait" || TestServer::echo(self, call);
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  const std::string text = "No reply to Wait from com.example.Service within ";
  for (const auto& [timeout, period] :
       {std::pair{Call::DEFAULT_TIMEOUT, "25 s"}, {Elapsed(0, 1'500'000'000), "1.5 s"}}) {
    Call call = callTo("Wait");
    call.setTimeout(timeout);
    auto reply = std::async(std::launch::async, [&] { return proxy.send(call); });
    EXPECT_TRUE(server.calls.await(1));
    clock.awaitWaiters(1);
    EXPECT_EQ(clock.advance(Elapsed::ofNanoseconds(timeout.getNanoseconds() - 1)), 0U);
    EXPECT_EQ(clock.advance(Elapsed(0, 1)), 1U);
    const auto failure = reply.get();
    EXPECT_EQ(textOf(failure), error("NoReply"));
    EXPECT_EQ(failure->getErrorText(), text + period);
    server.answer(server.calls.take().front(), "late");
    EXPECT_EQ(proxy.ask("Echo", "in time"), "in time");
    server.calls.take();
  }
  for (const auto& [milliseconds, period] : {std::pair{-5200, "-5.2 s"}, {-50, "-0.05 s"}, {0, "0 s"}}) {
    Call call = callTo("Wait");
    call.setTimeout(Elapsed::ofMilliseconds(milliseconds));
    const auto failure = proxy.send(call);
    EXPECT_EQ(textOf(failure), error("NoReply"));
    EXPECT_EQ(failure->getErrorText(),
              std::string("The call of Wait was not sent: its time-out of ") + period + " is over");
  }
  EXPECT_EQ(proxy.ask("Echo", "next"), "next");
  EXPECT_EQ(server.calls.count(), 1U) << "what is over was sent";
}

TEST_P(Calls, OfManyThreadsGetTheirOwnReplies) {
  TestServer server(open());
  TestServer::serve(server, NAME);
  TestProxy proxy(open(), NAME);
  proxy.start(true);  // so that the background reader takes part
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread)
    threads.emplace_back([&proxy, &server, thread] {
      for (int i = 0; i < 100; ++i) {
        const std::string text = std::to_string(thread) + "/" + std::to_string(i);
        EXPECT_EQ(proxy.ask("Echo", text), text);
        Signal signal = signalOf("Rang", text);
        server.send(signal);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(proxy.signals.await(800));
}

TEST_P(Calls, MayComeFromHooksAndGoToTheirOwnConnection) {
  const auto shared = open();
  TestServer inner(shared, TestServer::echo, "/inner");
  inner.start(true);
  const TestProxy toInner(shared, NAME, {}, "/inner");
  const TestProxy toInnerFromElsewhere(open(), NAME, {}, "/inner");
  TestServer outer(shared, [&](TestServer& self, const Call& call) {
    Signal signal = signalOf("Progress", textOf(call));
    self.send(signal);
    self.answer(call, toInner.ask("Echo", textOf(call)) + "+" + toInnerFromElsewhere.ask("Echo", "elsewhere"));
    return true;
  });
  TestServer::serve(outer, NAME);
  Recorder<std::string> nested;
  TestProxy proxy(open(), NAME, [&nested](TestProxy& self, const Signal& signal) {
    if (textOf(signal) == "first") nested.add(self.ask("Echo", "nested"));
  });
  proxy.start(true);
  EXPECT_EQ(proxy.ask("Echo", "first"), "first+elsewhere");
  EXPECT_TRUE(nested.await(1));
  EXPECT_EQ(nested.all().front(), "nested+elsewhere");
  EXPECT_EQ(proxy.heard(2), (std::vector<std::string>{"first", "nested"}));
}

TEST_P(Calls, ThatMustNotBeSentAreErrorsThatNameTheValue) {
  TestServer server(open());
  TestServer::serve(server, NAME);
  const auto connection = open();
  const auto via = [&connection](const char* host, const char* path) {
    return [=] { TestProxy(connection, host, {}, path).ask("Echo"); };
  };
  const auto started = [&connection](const char* path) {
    return [=] { TestServer(connection, TestServer::echo, path).start(true); };
  };
  // Structures that the message opens count with those in the contents of an array that stays empty.
  const std::string deepest = std::string(32, '(') + "y" + std::string(32, ')');
  const auto building = [](const auto& build) {
    return [&build] {
      Call call;
      Bus::Message::Iterator arguments = call.begin();
      try {
        build(arguments);
      } catch (const Bus::InvalidArgument&) {
        EXPECT_THROW(call.seal(1, {}), Bus::UnusableMessage) << "half written";
        throw;
      }
    };
  };
  const auto entry = [](auto& arguments) { arguments.begin(Bus::Message::DICTIONARY_ENTRY); };
  const auto nothing = [](auto& arguments) {
    Bus::Message::Iterator empty = arguments.begin(Bus::Message::STRUCTURE);
    arguments.end(empty);
  };
  const auto deep = [&](auto& arguments) {
    Bus::Message::Iterator outer = arguments.begin(Bus::Message::STRUCTURE);
    outer.begin(Bus::Message::ARRAY, deepest.c_str());
  };
  // These texts are not read: there are no such bytes.
  const auto ofLength = [](std::size_t length) { return std::string_view("", length); };
  const auto text = [&](auto& arguments) { arguments.append(ofLength(1U << 27)); };
  const auto sum = [&](auto& arguments) {  // which 32 bits hold as 0x17
    const std::string_view third = ofLength(0x55555555);
    arguments.append(third, third, third);
  };
  const auto blob = [](auto& arguments) { arguments.appendBytes(nullptr, 0x7FFFFFFF); };
  const auto large = [](auto& arguments) { arguments.appendBytes(nullptr, (std::size_t{64} << 20) + 1); };
  const struct {
    std::function<void()> act;
    const char* value;
  } rows[] = {
      {building(entry), "'{'"},
      {building(nothing), "'()'"},
      {building(deep), deepest.c_str()},
      {building(text), "Message body of 1342177"},
      {building(sum), "Message body of "},
      {building(blob), "2147483647"},
      {building(large), "67108865"},
      {via(NAME, "/my-app"), "/my-app"},
      {via(NAME, "/org/freedesktop/DBus/Local"), "/org/freedesktop/DBus/Local"},
      {via("not a name", PATH), "not a name"},
      {via("", PATH), "''"},
      {started("/my-app"), "/my-app"},
      {[&] { TestProxy(connection, NAME, {}, "/my-app").start(false); }, "/my-app"},
      {[] { callTo("My-Member"); }, "My-Member"},
      {[] { Call().setInterface("one"); }, "one"},
      {[] { Call().setPath("a"); }, "'a'"},
      {[] { callTo("Echo", "\xff"); }, "UTF-8"},
      {[] { callTo("Echo", std::string("a\0b", 3)); }, "NUL"},
      {[&] { connection->requestName("com..x"); }, "com..x"},
      {[&] { connection->getNameOwner("com..x"); }, "com..x"},
      {[&] { Return(server.calls.all().at(0), "worn", "out"); }, "worn"},
  };
  const TestProxy proxy(connection, NAME);
  EXPECT_EQ(proxy.ask("Echo", "before"), "before");
  const std::string name = connection->getUniqueName();
  for (const auto& row : rows) {
    try {
      row.act();
      ADD_FAILURE() << row.value << " was accepted";
    } catch (const Bus::InvalidArgument& wrong) {
      EXPECT_NE(std::string(wrong.what()).find(row.value), std::string::npos) << wrong.what();
      EXPECT_NE(std::string(wrong.what()).find("expected"), std::string::npos) << wrong.what();
    }
  }
  EXPECT_EQ(proxy.ask("Echo", "after"), "after");
  EXPECT_EQ(connection->getUniqueName(), name);
}

// Time stands still here: nothing may wait for a time-out.
TEST_P(Calls, FailAtOnceWhenTheServiceGoes) {
  SimulatedClock clock;
  const TestProxy proxy(open(), NAME);
  for (const bool leaves : {true, false}) {
    auto connection = open();
    auto server = std::make_unique<TestServer>(connection, [](TestServer&, const Call&) { return true; });
    awaitNoOwner(connection);
    TestServer::serve(*server, NAME);
    std::thread caller([&] { EXPECT_EQ(proxy.ask("Wait"), error(leaves ? "NoReply" : "NameHasNoOwner")); });
    EXPECT_TRUE(server->calls.await(1));
    if (leaves) {
      server.reset();
      connection.reset();
    } else {
      connection->releaseName(NAME);
    }
    caller.join();
  }
}

// Nobody reads the caller's socket while the service moves, so that all of it is old news by the time of the call: the
// reply then comes from another connection than the one that the caller knows.
TEST_P(Calls, SucceedAfterTheServiceHasMoved) {
  SimulatedClock clock;
  const TestProxy proxy(open(), NAME);
  std::vector<std::unique_ptr<TestServer>> former;
  std::unique_ptr<TestServer> server;
  for (int move = 0; move < 40; ++move) {
    for (int times = move % 3; times >= 0; --times) {
      if (server && move % 2) {
        server->getConnection()->releaseName(NAME);
        former.push_back(std::move(server));
      }
      server.reset();
      server = std::make_unique<TestServer>(open());
      awaitNoOwner(server->getConnection());
      TestServer::serve(*server, NAME);
    }
    ASSERT_EQ(proxy.ask("Echo", std::to_string(move)), std::to_string(move));
  }
}

TEST_P(Calls, BeyondAFullQueueAreRefused) {
  Gate go;
  TestServer server(open(), [&go](TestServer& self, const Call& call) {
    EXPECT_TRUE(go.await());
    return TestServer::echo(self, call);
  });
  TestServer::serve(server, NAME);
  const TestProxy proxy(open(), NAME);
  // The first is in the hook; seven more fill the queue.
  server.setLargestQueue(100, 800'000);
  const std::string large(100'000, 'x');
  for (std::size_t i = 0; i < 8; ++i) {
    Call call = callTo("Fill", large);
    call.setNoReplyExpected();
    proxy.send(call);
    ASSERT_TRUE(server.calls.await(1));
  }
  EXPECT_EQ(proxy.ask("Echo", large), error("LimitsExceeded"));
  go.open();
  EXPECT_EQ(proxy.ask("Echo", "again"), "again");
  EXPECT_EQ(server.calls.count(), 9u);
  // The first that waits counts, too.
  server.setLargestQueue(1, 1000);
  EXPECT_EQ(proxy.ask("Echo", std::string(1000, 'x')), error("LimitsExceeded"));
  EXPECT_EQ(proxy.ask("Echo", std::string(500, 'x')).size(), 500u);
}

}  // namespace
}  // namespace Quarnix::Test
