// Asynchronous calls, on both buses.
#include <future>

#include <tests/harness/ScriptedBus.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Bus::Handler;
using Bus::PendingCall;
using Bus::Result;
using Bus::Message::SendReturn;
using Time::Elapsed;

/// Keeps the results as textOf writes them, or the text of the exception.
struct Results : Recorder<std::string> {
  Handler<SendReturn> handler() {
    return [this](const Result<SendReturn>& result) {
      try {
        add(textOf(result.get()));
      } catch (const Bus::Error& error) {
        add(error.what());
      }
    };
  }
};

/// Answers all calls but those of "Wait", which it keeps.
bool echoing(TestServer& self, const Call& call) {
  return std::string_view(call.getMember()) == "Wait" || TestServer::echo(self, call);
}

class Async : public BothBuses {
 protected:
  PendingCall send(const char* member, const std::string& text = {}, const Elapsed& timeout = Call::DEFAULT_TIMEOUT) {
    Call call = callTo(member, text);
    call.setTimeout(timeout);
    return proxy.sendAsync(std::move(call), results.handler());
  }

  Service server{open(), echoing};
  TestProxy proxy{open(), NAME};
  Results results;
};
HEVRA_ON_BOTH_BUSES(Async);

TEST_P(Async, CallsEndWithWhatTheSynchronousOnesReturnOrRaise) {
  const std::tuple<Call, Elapsed, std::string> rows[] = {
      {callTo("Echo", "text"), Elapsed(25, 0), "text"},
      {Call(), Elapsed(25, 0), "Message without a member: expected one"},
      {callTo("Echo"), Elapsed(), error("NoReply")}};
  for (auto [call, timeout, expected] : rows) {
    call.setTimeout(timeout);
    proxy.sendAsync(std::move(call), results.handler());
    EXPECT_TRUE(results.await(1));
    EXPECT_EQ(results.take(), Texts{expected});
  }
  const auto connection = proxy.getConnection();
  Call toNobody = callTo("Echo"), toService = callTo("Echo", "direct");
  toNobody.setDestination("com.example.Nobody");
  toService.setDestination(NAME);
  for (Call* call : {&toNobody, &toService}) call->setPath(PATH);
  EXPECT_EQ(textOf(connection->callAsync(toNobody).get()), error("ServiceUnknown"));
  EXPECT_EQ(textOf(connection->callAsync(toService).get()), "direct");
  EXPECT_THROW(connection->callAsync(Call()).get(), Bus::InvalidArgument);
  EXPECT_THROW(TestProxy(connection, NAME, {}, "no path").sendAsync(callTo("Echo")).get(), Bus::InvalidArgument);
  EXPECT_EQ(textOf(proxy.sendAsync(callTo("Echo", "future")).get()), "future");
}

// The daemon refuses the 129th call that waits for its reply.
TEST_P(Async, CallsBeyondTheWindowFollowInOrderAndSynchronousOnesDoNotOvertakeThem) {
  constexpr std::size_t COUNT = 10'000;
  const Time::SimulatedClock clock;  // no deadline comes, however slow the machine is
  for (std::size_t i = 0; i < COUNT; ++i) send("Echo", std::to_string(i));
  EXPECT_EQ(proxy.ask("Echo", "last"), "last");
  EXPECT_TRUE(results.await(COUNT));
  EXPECT_EQ(server.calls.count(), COUNT + 1);
  std::size_t i = 0;
  for (const std::string& text : results.take()) EXPECT_EQ(text, std::to_string(i++));
  i = 0;
  for (const Call& call : server.calls.take()) {
    EXPECT_EQ(textOf(call), i < COUNT ? std::to_string(i) : "last");
    ++i;
  }
  const Bus::Counters counters = proxy.getConnection()->getCounters();
  EXPECT_EQ(counters.callsAnswered, COUNT + 1);
  EXPECT_EQ(counters.callsInFlight + counters.callsWaiting + counters.callsFailed + counters.callsTimedOut, 0U);
  EXPECT_GT(counters.bytesSent, COUNT * 64);
  EXPECT_GT(counters.bytesReceived, COUNT * 64);
}

TEST_P(Async, DeadlinesCountFromTheCallAndALateReplyIsIgnored) {
  Time::SimulatedClock clock;
  proxy.getConnection()->setLargestWindow(1);
  EXPECT_THROW(proxy.getConnection()->setLargestWindow(0), Bus::InvalidArgument);
  send("Wait", {}, Elapsed(3, 0));
  send("Wait", {}, Elapsed(2, 0));
  send("Echo", "after", Elapsed(5, 0));
  EXPECT_TRUE(server.calls.await(1));
  clock.advance(Elapsed(1, 999'999'999));
  EXPECT_EQ(results.count(), 0U);
  EXPECT_EQ(proxy.getConnection()->getCounters().callsWaiting, 2U);
  clock.advance(Elapsed(0, 1));
  EXPECT_EQ(results.take(), Texts{error("NoReply")});
  clock.advance(Elapsed(1, 0));
  EXPECT_TRUE(results.await(2));
  EXPECT_EQ(results.take(), (Texts{error("NoReply"), "after"}));
  EXPECT_EQ(server.calls.count(), 2U) << "a call was sent after its deadline";
  server.answer(server.calls.all().front(), "late");
  EXPECT_EQ(proxy.ask("Echo", "alive"), "alive");
  EXPECT_EQ(proxy.getConnection()->getCounters().callsTimedOut, 2U);
  EXPECT_EQ(results.count(), 0U);
}

TEST_P(Async, CallsThatAreGivenUpAreNotHeardAndKeepNothing) {
  proxy.getConnection()->setLargestWindow(2);
  const auto held = std::make_shared<int>(0);
  Gate entered, release;
  std::vector<PendingCall> pending;
  const auto begin = [&](const char* member) {
    pending.push_back(proxy.sendAsync(callTo(member), [&, held](const auto&) {
      entered.open();
      release.await();
    }));
  };
  begin("Echo");
  EXPECT_TRUE(entered.await());
  begin("Echo");  // ends, and waits for the proxy's task
  EXPECT_TRUE(server.calls.await(2));
  EXPECT_EQ(proxy.ask("Echo", "so it has ended"), "so it has ended");
  for (const char* member : {"Wait", "Wait", "Echo"}) begin(member);  // two on the bus, one behind the window
  EXPECT_FALSE(pending[0].isPending());
  for (std::size_t i = 1; i < pending.size(); ++i) {
    EXPECT_TRUE(pending[i].isPending());
    pending[i].giveUp();
    EXPECT_FALSE(pending[i].isPending());
  }
  EXPECT_EQ(held.use_count(), 2) << "that of the handler that runs, and this one";
  EXPECT_EQ(proxy.ask("Echo", "alive"), "alive");
  begin("Wait");
  auto unheard = proxy.sendAsync(callTo("Wait"));
  std::thread opener([&] { release.open(); });
  proxy.stop();
  opener.join();
  EXPECT_EQ(held.use_count(), 1);
  EXPECT_THROW(unheard.get(), std::future_error);
  send("Echo", "after the stop");
  EXPECT_TRUE(results.await(1));
  EXPECT_EQ(entered.count(), 1);
}

class AsyncFaults : public testing::Test {
 protected:
  PendingCall call(const std::string& text) {
    Call call = callTo("Echo", text);
    call.setPath(PATH);
    call.setDestination(SERVICE);
    return connection->callAsync(std::move(call), results.handler());
  }

  ScriptedBus bus;
  CapturingLogger logger;
  Results results;
  Shared::Pointer<Connection> connection = bus.connect();
};

TEST_F(AsyncFaults, ALossEndsTheCallsOnTheBusAndTheOthersLeaveOnTheNextLink) {
  connection->setLargestWindow(2);
  for (const char* text : {"1", "2", "3", "4"}) call(text);
  for (const char* text : {"1", "2"}) EXPECT_EQ(textOf(bus.expect("Echo")), text);
  bus.close();
  EXPECT_TRUE(results.await(2));
  EXPECT_EQ(results.take(), (Texts{error("Disconnected"), error("Disconnected")}));
  bus.greet();
  for (const char* text : {"3", "4"}) bus.answer(bus.expect("Echo"), text);
  EXPECT_TRUE(results.await(2));
  EXPECT_EQ(results.take(), (Texts{"3", "4"}));
  EXPECT_EQ(connection->getCounters().connects, 2U);
}

TEST(AsyncWithoutABus, CallsEndWithTheReasonAndTryAgainEachTime) {
  CapturingLogger logger;
  BusDaemon daemon(BusDaemon::Begin::STOPPED);
  TestProxy proxy(Connection::open(daemon.address()), BUS);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(textOf(proxy.sendAsync(callTo("Echo")).get()), error("NoServer"));
  daemon.start();
  EXPECT_EQ(textOf(proxy.sendAsync(callTo("Echo")).get()), error("UnknownInterface"));
}

}  // namespace
}  // namespace Quarnix::Test
