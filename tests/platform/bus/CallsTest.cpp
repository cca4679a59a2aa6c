// Calls and their replies, on both buses.
#include <future>
#include <thread>

#include <platform/bus/Trace.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Bus::Message::Iterator;
using Time::Elapsed;

class Calls : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Calls);

/// Echoes, but leaves "Wait" to the test and refuses "Refused".
bool echoing(TestServer& self, const Call& call) {
  const std::string_view member = call.getMember();
  return member == "Wait" || (member != "Refused" && TestServer::echo(self, call));
}

TEST_P(Calls, EndWithTheReplyOrTheErrorOfWhoeverIsToBlame) {
  Service server(open(), [](TestServer& self, const Call& call) {
    if (std::string_view(call.getMember()) != "Fails") return echoing(self, call);
    Return reply(call, "com.example.Error.Worn", "out");
    self.send(reply);
    return true;
  });
  const TestProxy proxy(open(), NAME);
  const std::string large(5 << 20, 'x');
  EXPECT_EQ(proxy.ask("Echo", large), error("LimitsExceeded"));
  server.getConnection()->setLargestMessage(6 << 20, 6 << 20);
  EXPECT_EQ(proxy.ask("Echo", large).size(), large.size());
  proxy.getConnection()->setLargestMessage(6 << 20, 1 << 20);
  EXPECT_EQ(proxy.ask("Echo", large), error("LimitsExceeded")) << "the reply";
  EXPECT_EQ(server.calls.count(), 2u);
  EXPECT_EQ(proxy.ask("Refused"), error("UnknownMethod"));
  EXPECT_EQ(proxy.ask("Fails"), "!com.example.Error.Worn");
  EXPECT_EQ(TestProxy(open(), NAME, {}, "/not/served").ask("Echo"), error("UnknownObject"));
  for (const char* nobody : {"com.example.Nobody", ":1.4096"})
    EXPECT_EQ(TestProxy(open(), nobody).ask("Echo"), error("ServiceUnknown"));
  EXPECT_EQ(TestProxy(open(), server.getConnection()->getUniqueName()).ask("Echo", "direct"), "direct");
}

TEST_P(Calls, ThatExpectNoReplyGetNone) {
  Service server(open(), echoing);
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
  EXPECT_EQ(daemon_ ? daemon_->log().find("Rejected") : std::string::npos, std::string::npos) << daemon_->log();
}

TEST_P(Calls, EndExactlyAtTheirDeadlineAndIgnoreALateReply) {
  Time::SimulatedClock clock;
  Service server(open(), echoing);
  const TestProxy proxy(open(), NAME);
  EXPECT_EQ(proxy.ask("Echo", "first"), "first");  // the bus tells the owner now, and not in the waits that are counted
  server.calls.take();
  const auto waiting = [&](const Elapsed& timeout) {
    Call call = callTo("Wait");
    call.setTimeout(timeout);
    const auto failure = proxy.send(call);
    EXPECT_EQ(textOf(failure), error("NoReply"));
    return std::string(failure->getErrorText());
  };
  for (const auto& [timeout, period] :
       {std::pair{Call::DEFAULT_TIMEOUT, "25 s"}, {Elapsed(0, 1'500'000'000), "1.5 s"}}) {
    auto failure = std::async(std::launch::async, waiting, timeout);
    EXPECT_TRUE(server.calls.await(1));
    clock.awaitWaiters(1);
    EXPECT_EQ(clock.advance(Elapsed::ofNanoseconds(timeout.getNanoseconds() - 1)), 0U);
    EXPECT_EQ(clock.advance(Elapsed(0, 1)), 1U);
    EXPECT_EQ(failure.get(), std::string("No reply to Wait from com.example.Service within ") + period);
    server.answer(server.calls.take().front(), "late");
    EXPECT_EQ(proxy.ask("Echo", "in time"), "in time");
    server.calls.take();
  }
  for (const auto& [milliseconds, period] : {std::pair{-50, "-0.05 s"}, {0, "0 s"}})
    EXPECT_EQ(waiting(Elapsed::ofMilliseconds(milliseconds)),
              std::string("The call of Wait was not sent: its time-out of ") + period + " is over");
  EXPECT_EQ(proxy.ask("Echo", "next"), "next");
  EXPECT_EQ(server.calls.count(), 1U) << "what is over was sent";
}

TEST_P(Calls, OfManyThreadsGetTheirOwnReplies) {
  Service server(open());
  TestProxy proxy(open(), NAME);
  proxy.start(true);  // so that the background reader takes part
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread)
    threads.emplace_back([&proxy, &server, thread] {
      for (int i = 0; i < 100; ++i) {
        const std::string text = std::to_string(thread) + "/" + std::to_string(i);
        EXPECT_EQ(proxy.ask("Echo", text), text);
        server.ring(text);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_TRUE(proxy.signals.await(800));
}

TEST_P(Calls, MayComeFromHooksAndGoToTheirOwnConnection) {
  const auto shared = open();
  TestServer inner(shared, TestServer::echo, "/inner");
  inner.start(true);
  const TestProxy toInner(shared, NAME, {}, "/inner"), fromElsewhere(open(), NAME, {}, "/inner");
  Service outer(shared, [&](TestServer& self, const Call& call) {
    self.ring(textOf(call));
    self.answer(call, toInner.ask("Echo", textOf(call)) + "+" + fromElsewhere.ask("Echo", "elsewhere"));
    return true;
  });
  Recorder<std::string> nested;
  TestProxy proxy(open(), NAME, [&nested](TestProxy& self, const Signal& signal) {
    if (textOf(signal) == "first") nested.add(self.ask("Echo", "nested"));
  });
  proxy.start(true);
  EXPECT_EQ(proxy.ask("Echo", "first"), "first+elsewhere");
  EXPECT_EQ(proxy.heard(2), (Texts{"first", "nested"}));
  EXPECT_EQ(nested.all(), Texts{"nested+elsewhere"});
}

TEST_P(Calls, ThatMustNotBeSentAreErrorsThatNameTheValue) {
  Service server(open());
  const auto connection = open();
  const auto via = [&connection](const char* host, const char* path) {
    return [=] { TestProxy(connection, host, {}, path).ask("Echo"); };
  };
  const auto building = [](std::function<void(Iterator&)> build) {
    return [=] {
      Call call;
      Iterator arguments = call.begin();
      build(arguments);
    };
  };
  // Structures that the message opens count with those in the contents of an array that stays empty.
  const std::string deepest = std::string(32, '(') + "y" + std::string(32, ')');
  const auto deep = [&](Iterator& to) {
    to.begin(Bus::Message::STRUCTURE).begin(Bus::Message::ARRAY, deepest.c_str());
  };
  const std::string tooLong(9999, 'a'), shown = "'" + std::string(300, 'a') + "... (9999 bytes)'";
  // These texts are not read: there are no such bytes. 32 bits hold the sum of the thirds as 0x17.
  const auto claiming = [](std::size_t size) { return std::string_view("", size); };
  const std::string_view largest = claiming(1U << 27), third = claiming(0x55555555);
  const struct {
    std::function<void()> act;
    const char* value;
  } rows[] = {
      {building([](Iterator& to) { to.begin(Bus::Message::DICTIONARY_ENTRY); }), "'{'"},
      {building([](Iterator& to) {
         Iterator empty = to.begin(Bus::Message::STRUCTURE);
         to.end(empty);
       }),
       "'()'"},
      {building(deep), deepest.c_str()},
      {building([&](Iterator& to) { to.append(largest); }), "Message body of 1342177"},
      {building([&](Iterator& to) { to.append(third, third, third); }), "Message body of "},
      {building([](Iterator& to) { to.appendBytes(nullptr, (std::size_t{64} << 20) + 1); }), "67108865"},
      {via(NAME, "/my-app"), "/my-app"},
      {via(NAME, "/org/freedesktop/DBus/Local"), "/org/freedesktop/DBus/Local"},
      {via("not a name", PATH), "not a name"},
      {via("a\n\xff", PATH), "'a\\x0a\\xff'"},
      {via(tooLong.c_str(), PATH), shown.c_str()},
      {[&] { TestServer(connection, TestServer::echo, "/my-app").start(true); }, "/my-app"},
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
      const std::string text = wrong.what();
      EXPECT_TRUE(text.find(row.value) != text.npos && text.find("expected") != text.npos) << text;
    }
  }
  EXPECT_EQ(proxy.ask("Echo", "after"), "after");
  EXPECT_EQ(connection->getUniqueName(), name);
}

// Time stands still here: nothing may wait for a time-out.
TEST_P(Calls, FailAtOnceWhenTheServiceGoes) {
  Time::SimulatedClock clock;
  const TestProxy proxy(open(), NAME);
  for (const bool leaves : {true, false}) {
    auto connection = open();
    awaitNoOwner(connection);
    auto server = std::make_unique<Service>(connection, echoing);
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

/// Holds back the message "Hold", and all that is sent behind it.
struct Holding : Bus::Trace {
  void message(Direction direction, const Bus::Message::Any& message) override {
    if (direction != Direction::OUT || std::string_view(message.getMember()) != "Hold") return;
    held.open();
    go.await();
  }
  Gate held, go;
};

// The connection cannot ask about the service before that has its name again. The call that is held back goes to the
// same service, too, but after its return.
TEST_P(Calls, FailWhenTheServiceTakesItsNameAgainAtOnce) {
  Time::SimulatedClock clock;
  const auto trace = Shared::make<Holding>();
  Bus::Trace::set(trace);
  Service server(open(), echoing);
  const TestProxy proxy(open(), NAME);
  TestObserver observer(proxy.getConnection(), {NAME});
  observer.start();
  observer.heard(2);
  auto waiting = std::async(std::launch::async, [&] { return proxy.ask("Wait"); });
  EXPECT_TRUE(server.calls.await(1));
  // After these the connection can tell that what it reads is newer than the first call.
  for (const char* text : {"one", "two", "three"}) EXPECT_EQ(proxy.ask("Echo", text), text);
  auto holding = std::async(std::launch::async, [&] { return proxy.ask("Hold", "held"); });
  EXPECT_TRUE(trace->held.await());
  server.getConnection()->releaseName(NAME);
  observer.heard(1);
  server.getConnection()->requestName(NAME);
  observer.heard(1);
  trace->go.open();
  EXPECT_EQ(waiting.get(), error("NameHasNoOwner"));
  EXPECT_EQ(holding.get(), "held");
  Bus::Trace::set({});
}

// Nobody reads the caller's socket while the service moves, so that all of it is old news by the time of the call: the
// reply then comes from another connection than the one that the caller knows.
TEST_P(Calls, SucceedAfterTheServiceHasMoved) {
  Time::SimulatedClock clock;
  const TestProxy proxy(open(), NAME);
  std::vector<std::unique_ptr<Service>> former;
  std::unique_ptr<Service> server;
  for (int move = 0; move < 40; ++move) {
    for (int times = move % 3; times >= 0; --times) {
      if (server && move % 2) {
        server->getConnection()->releaseName(NAME);
        former.push_back(std::move(server));
      }
      server.reset();
      const auto connection = open();
      awaitNoOwner(connection);
      server = std::make_unique<Service>(connection);
    }
    ASSERT_EQ(proxy.ask("Echo", std::to_string(move)), std::to_string(move));
  }
}

TEST_P(Calls, BeyondAFullQueueAreRefused) {
  Gate go;
  Service server(open(),
                 [&go](TestServer& self, const Call& call) { return go.await() && TestServer::echo(self, call); });
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
}

TEST(Copies, OfACallHaveTheirOwnTextsHoweverLong) {
  const auto texts = [](const Call& call) {
    return Texts{call.getPath(), call.getInterface(), call.getMember(), call.getDestination()};
  };
  for (const std::string& name : {std::string("a.b"), "a." + std::string(50, 'b'), "a." + std::string(200, 'b')}) {
    Call first;
    first.setInterface(name.c_str());
    first.setMember("First");
    Call copy = first;
    copy.setMember("Second");
    first.setPath("/c");
    first.setDestination(name);
    const Call moved = std::move(copy);
    EXPECT_EQ(texts(first), (Texts{"/c", name, "First", name}));
    EXPECT_EQ(texts(moved), (Texts{"", name, "Second", ""}));
  }
}

}  // namespace
}  // namespace Quarnix::Test
