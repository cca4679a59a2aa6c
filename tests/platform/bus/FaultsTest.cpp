// What goes wrong between a connection and its bus, with a bus that is played by the test.
#include <signal.h>
#include <unistd.h>

#include <tuple>

#include <platform/bus/Trace.h>
#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/SocketTransport.h>
#include <tests/harness/ScriptedBus.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Bus::Internal::Client;
using Time::Elapsed;

class Faults : public testing::Test {
 protected:
  /// A call to SERVICE itself; its reply.
  Bus::Message::SendReturn call(const std::string& text, const Elapsed& timeout = Call::DEFAULT_TIMEOUT) {
    Call call = callTo("Echo", text);
    call.setPath(PATH);
    call.setDestination(SERVICE);
    call.setTimeout(timeout);
    return connection->call(call);
  }
  std::future<std::string> asking(const std::string& text, const Elapsed& timeout = Call::DEFAULT_TIMEOUT) {
    return later([=, this] { return textOf(call(text, timeout)); });
  }
  /// Calls once more: the connection is as good as before.
  void expectAlive() {
    auto reply = asking("alive");
    bus.answer(bus.expect("Echo"), "and well");
    EXPECT_EQ(reply.get(), "and well");
  }
  /// Starts a proxy of SERVICE.
  void listen(TestProxy& proxy) {
    proxy.start(false);
    for (int rules = 0; rules < 2; ++rules) bus.expect("AddMatch");
  }

  Time::SimulatedClock clock;
  CapturingLogger logger;
  ScriptedBus bus;
  Shared::Pointer<Connection> connection;
};

TEST_F(Faults, StreamsAreReadHoweverTheyAreCut) {
  const std::string large(70'000, 'x');
  Call hello = callTo("Hello");
  hello.seal(1, {PATH, {}, {}});
  for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{50'001}, std::size_t{1} << 20}) {
    connection = Connection::open(bus.address());
    auto name = later([&] { return connection->getUniqueName(); });
    bus.accept();
    for (const char* end : {"\r\n", "BEGIN\r\n"}) EXPECT_TRUE(bus.line().ends_with(end));
    // The answer to the greeting comes right behind the last line of the dialogue.
    bus.write("OK\r\n" + replyTo(hello, CLIENT, BUS) + replyTo(hello, "again"), piece);
    EXPECT_EQ(bus.expect("Hello").getSerial(), 1u);
    EXPECT_EQ(name.get(), CLIENT);
    auto one = asking("one"), two = asking("two");
    const Call first = bus.expect("Echo"), second = bus.expect("Echo");
    bus.write(replyTo(second, textOf(second) + large) + replyTo(first, textOf(first)), piece);
    EXPECT_EQ(one.get().substr(0, 4) + two.get().substr(0, 4), textOf(first) == "one" ? "onetwox" : "onextwo");
  }
}

// Signals interrupt the callers all the while.
TEST_F(Faults, OfASlowBusCutNoMessage) {
  struct sigaction interrupt = {};
  interrupt.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interrupt, nullptr);
  connection = bus.connect();
  bus.narrow();
  auto one = asking(std::string(20'000, 'a')), two = asking(std::string(20'000, 'b'));
  sigset_t all;
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  for (int i = 0; i < 2; ++i) {
    ::kill(::getpid(), SIGUSR1);
    const Call received = bus.receive<Call>(1);
    const std::string text = textOf(received);
    EXPECT_EQ(text, std::string(20'000, text[0]));
    bus.answer(received, text.substr(0, 1));
  }
  EXPECT_EQ(one.get() + two.get(), "ab");
}

TEST_F(Faults, OfTheStreamEndTheLinkAndSayWhy) {
  // How far the bus comes before it says something wrong, or nothing, and goes.
  enum Stage { ASKED, AUTHENTICATED, CALLED };
  Call hello = callTo("Hello"), large = callTo("Echo", std::string(Connection::LARGEST_CALL, 'x'));
  hello.seal(1, {PATH, {}, {}});
  Return nameless(hello);
  large.setPath(PATH);
  std::string wrong = bytesOf(large, ":1.8");
  wrong[wrong.find("Echo")] = '-';
  const struct {
    Stage stage;
    std::string bytes;
    const char *error, *text;
  } rows[] = {
      {ASKED, "", "AuthFailed", "The bus closed the connection during authentication"},
      {ASKED, "REJECTED \xff\n\r\n", "AuthFailed", "The bus refused the authentication of this user: REJECTED ??"},
      {ASKED, "ERROR\r\n", "AuthFailed", "The bus refused the authentication of this user: ERROR"},
      {ASKED, "DATA\r\n", "AuthFailed", "The bus refused the authentication of this user: DATA"},
      {ASKED, "OKAY\r\n", "AuthFailed", "The bus refused the authentication of this user: OKAY"},
      {ASKED, "OK 4567\r\n", "AuthFailed", "The bus is not the one that is expected, with the guid 0123: OK 4567"},
      {ASKED, "OK\r\n", "AuthFailed", "with the guid 0123: OK"},
      {ASKED, std::string(5000, 'a'), "AuthFailed", "The bus sent an authentication line of more than 4096 bytes"},
      {AUTHENTICATED, replyTo(hello, error("LimitsExceeded")), "LimitsExceeded", "text"},
      {AUTHENTICATED, ownerChanged("", ""), "Failed", "The bus did not answer the greeting"},
      {AUTHENTICATED, bytesOf(nameless, BUS), "Failed", "The bus answered the greeting without a name"},
      {AUTHENTICATED, replyTo(hello, "", BUS), "Failed", "the name '': expected a unique name"},
      {AUTHENTICATED, replyTo(hello, NAME, BUS), "Failed", "the name 'com.example.Service': expected a unique name"},
      {CALLED, "", "Disconnected", "The connection to the message bus was lost: "},
      {CALLED, ownerChanged("", "").substr(0, 40), "Disconnected", "the bus closed the connection"},
      {CALLED, {"l\2\1\2\0\0\0\0\1\0\0\0\0\0\0\0", 16}, "Disconnected", "the bus sent an invalid message: "},
      {CALLED, wrong, "Disconnected", "the bus sent an invalid message: "},
      {CALLED, {"l\2\0\1\0\0\0\x08\1\0\0\0\0\0\0\0", 16}, "Disconnected", "at most 134217728 bytes"},
  };
  for (const auto& row : rows) {
    connection = Connection::open(bus.address() + ",guid=0123");
    auto reply = later([&] { return Return(*call("")); });
    if (row.stage == ASKED) bus.accept(), bus.line();
    if (row.stage == AUTHENTICATED) bus.authenticate();
    if (row.stage == CALLED) bus.greet(), bus.expect("Echo");
    bus.write(row.bytes);
    bus.close();
    const Return failure = reply.get();
    EXPECT_EQ(std::string("!") + failure.getErrorName(), error(row.error));
    EXPECT_NE(std::string(failure.getErrorText()).find(row.text), std::string::npos) << failure.getErrorText();
  }
}

// The deadline of a call covers connecting, and there is one for connecting itself.
TEST_F(Faults, OfASilentBusEndAtTheDeadline) {
  const std::tuple<Elapsed, Elapsed, const char*> rows[] = {
      {Elapsed(1, 0), Elapsed(1, 0), "NoReply"},
      {Elapsed(60, 0), Bus::Internal::SocketTransport::MAXIMUM_CONNECT_TIME, "Timeout"}};
  for (const auto& [timeout, limit, outcome] : rows) {
    connection = Connection::open(bus.address());
    auto reply = asking("", timeout);
    bus.accept();
    clock.awaitWaiters(1);
    EXPECT_EQ(clock.advance(Elapsed::ofNanoseconds(limit.getNanoseconds() - 1)), 0u);
    EXPECT_EQ(clock.advance(Elapsed(0, 1)), 1u);
    EXPECT_EQ(reply.get(), error(outcome));
  }
}

// What has left in part must go out whole, and what has not must not go out any more; on the next link, the other way
// round.
TEST_F(Faults, OfABusThatDoesNotReadEndAtTheDeadlineOrWithTheLink) {
  for (const bool isLost : {false, true}) {
    connection = bus.connect();
    bus.narrow();
    std::vector<std::future<std::string>> replies;
    for (const char* text : {"first", "second"}) {
      replies.push_back(asking(text + std::string(20'000, 'x')));
      clock.awaitWaiters(replies.size());
    }
    if (isLost) {
      bus.close();
      EXPECT_EQ(replies[0].get(), error("Disconnected"));
      bus.greet();
    } else {
      clock.advance(Call::DEFAULT_TIMEOUT);
      for (auto& reply : replies) EXPECT_EQ(reply.get(), error("NoReply"));
      replies[1] = asking("third");
      EXPECT_EQ(textOf(bus.expect("Echo")).substr(0, 5), "first");
    }
    const Call next = bus.expect("Echo");
    EXPECT_EQ(textOf(next).substr(0, 6), isLost ? "second" : "third");
    bus.answer(next, "done");
    EXPECT_EQ(replies[1].get(), "done");
  }
}

TEST_F(Faults, OfRepliesAreDroppedAndTheRightOneCounts) {
  connection = bus.connect();
  auto one = asking("one");
  const Call first = bus.expect("Echo");
  auto two = asking("two");
  const Call second = bus.expect("Echo");
  for (const Call& call : {second, first}) {
    for (const char* forger : {":1.8", BUS, CLIENT, NAME, ""}) bus.answer(call, "forged", forger);
    bus.answer(call, error("Failed"), ":1.8");
    for (const char* times : {"", " again"}) bus.answer(call, textOf(call) + times);
  }
  EXPECT_EQ(one.get() + two.get(), "onetwo");
  auto refused = asking("refused");
  bus.answer(bus.expect("Echo"), error("Failed"), BUS);
  EXPECT_EQ(refused.get(), error("Failed"));
}

TEST_F(Faults, OfAServiceThatIsNotThereYetAreNone) {
  const TestProxy proxy(bus.connect(), NAME);
  const auto asking = [&] { return later([&] { return proxy.ask("Echo"); }); };
  // It is started by the call, and answers late.
  auto reply = asking();
  bus.expect("AddMatch");
  bus.answer(bus.expect("GetNameOwner"), error("NameHasNoOwner"), BUS);
  Call call = bus.expect("Echo");
  bus.write(replyTo(call, "too early", ":1.20") + ownerChanged("", ":1.20") + replyTo(call, "forged", ":1.21") +
            replyTo(call, "activated", ":1.20"));
  EXPECT_EQ(reply.get(), "activated");
  // It is started anew while the call waits in the bus for it.
  reply = asking();
  call = bus.expect("Echo");
  bus.write(ownerChanged(":1.20", "") + ownerChanged("", ":1.21"));
  bus.grant(bus.expect("NameHasOwner"), false);
  bus.answer(call, "restarted", ":1.21");
  EXPECT_EQ(reply.get(), "restarted");
  // It was away, perhaps before the call left: nobody can tell.
  reply = asking();
  call = bus.expect("Echo");
  bus.write(ownerChanged(":1.21", "") + ownerChanged("", ":1.21"));
  bus.grant(bus.expect("NameHasOwner"), true);
  bus.answer(call, "back", ":1.21");
  EXPECT_EQ(reply.get(), "back");
}

// The first call and what the bus has to know leave with the greeting, and the bus may answer all of it at once.
TEST_F(Faults, OfTheGreetingEndTheCallThatLeftWithIt) {
  Bus::Trace::set({});  // with a trace nothing leaves early
  connection = Connection::open(bus.address());
  const TestProxy proxy(connection, NAME);
  for (const bool isRefused : {true, false}) {
    auto reply = later([&] { return proxy.ask("Echo"); });
    const Call hello = bus.authenticate();
    bus.expect("AddMatch");
    const Call question = bus.expect("GetNameOwner"), call = bus.expect("Echo");
    EXPECT_TRUE(bus.hasReadAll());
    if (isRefused) {
      bus.answer(hello, error("LimitsExceeded"), BUS);
      EXPECT_EQ(reply.get(), error("LimitsExceeded"));
      EXPECT_EQ(connection->getCounters().callsInFlight, 0U);
      continue;
    }
    // What is wanted meanwhile leaves behind it.
    TestProxy other(connection, SERVICE);
    other.start(false);
    bus.write(replyTo(hello, CLIENT, BUS) + replyTo(question, SERVICE, BUS) + replyTo(call, "answered"));
    EXPECT_EQ(reply.get(), "answered");
    for (const char* expected : {"", PATH}) EXPECT_NE(textOf(bus.expect("AddMatch")).find(expected), std::string::npos);
  }
}

// Nobody calls, and the descriptor is not readable any more.
TEST_F(Faults, AreNoneIfTheGreetingAndItsFlightAreAnsweredTogether) {
  Bus::Trace::set({});
  connection = Connection::open(bus.address());
  TestObserver observer(connection, {NAME});
  observer.start();
  EXPECT_EQ(observer.heard(2).front(), "lost: it was not reached yet");
  const Call hello = bus.authenticate();
  bus.expect("AddMatch");
  bus.write(replyTo(hello, CLIENT, BUS) + replyTo(bus.expect("GetNameOwner"), SERVICE, BUS));
  EXPECT_EQ(observer.heard(2), (Texts{std::string("connected ") + CLIENT, std::string("up ") + NAME + " " + SERVICE}));
}

// The bus is told that a name is out of use only when another one is.
TEST_F(Faults, AreNotBroughtByProxiesThatComeAndGo) {
  connection = bus.connect();
  const auto expectAnswer = [&](const char* name, bool isNew) {
    auto reply = later([&] { return TestProxy(connection, name).ask("Echo"); });
    if (isNew) {
      bus.expect("AddMatch");
      bus.grant(bus.expect("GetNameOwner"), SERVICE);
    }
    bus.answer(bus.expect("Echo"), "answered");
    EXPECT_EQ(reply.get(), "answered");
  };
  expectAnswer(NAME, true);
  expectAnswer(NAME, false);
  expectAnswer("com.example.Other", true);
  EXPECT_NE(textOf(bus.expect("RemoveMatch")).find(NAME), std::string::npos);
  expectAnswer("com.example.Other", false);
  EXPECT_TRUE(bus.hasReadAll());
}

TEST_F(Faults, OfAWrongBusComeBeforeTheFirstCallLeaves) {
  connection = Connection::open(bus.address() + ",guid=0124");
  auto reply = asking("secret");
  bus.authenticate();
  EXPECT_TRUE(bus.hasReadAll());
  EXPECT_EQ(reply.get(), error("AuthFailed"));
}

TEST_F(Faults, OfALostBusEndTheCallsAtOnceAndTheRestComesBack) {
  connection = bus.connect();
  TestServer server(connection);
  TestProxy proxy(connection, NAME);
  auto owned = later([&] { TestServer::serve(server, NAME); });
  bus.grant(bus.expect("RequestName"), 1U);
  owned.get();
  proxy.start(false);
  bus.expect("AddMatch");
  bus.grant(bus.expect("GetNameOwner"), ":1.20");
  bus.expect("AddMatch");
  std::future<std::string> replies[] = {asking(""), asking(""), asking("")};
  for (int i = 0; i < 3; ++i) bus.expect("Echo");
  bus.close();
  for (auto& reply : replies) EXPECT_EQ(reply.get(), error("Disconnected"));
  EXPECT_TRUE(logger.waitFor("4 Lost the message bus: "));

  bus.greet();
  bus.expect("AddMatch");
  bus.answer(bus.expect("GetNameOwner"), error("NameHasNoOwner"), BUS);
  EXPECT_NE(textOf(bus.expect("AddMatch")).find(PATH), std::string::npos);
  bus.grant(bus.expect("RequestName"), 2U);
  bus.write(ringing("of the former owner", ":1.20") + ownerChanged("", ":1.21") +
            ringing("of the present one", ":1.21"));
  EXPECT_EQ(proxy.heard(1), Texts{"of the present one"});
  EXPECT_TRUE(logger.waitFor("4 The bus name com.example.Service was taken by another connection: it comes back"));
  Call call = callTo("Echo", "served");
  call.setPath(PATH);
  bus.write(bytesOf(call, ":1.21"));
  EXPECT_EQ(textOf(bus.receive<Return>()), "served") << "nothing is sent again in between";
}

TEST_F(Faults, DoNotComeOfAStopDuringAStart) {
  TestProxy proxy(bus.connect(), SERVICE, [](TestProxy& self, const Signal&) { self.stop(); });
  auto started = later([&] { proxy.start(true); });
  bus.expect("AddMatch");
  const Call add = bus.expect("AddMatch");
  bus.write(ringing("first") + ringing("second"));
  EXPECT_EQ(proxy.heard(1), Texts{"first"});
  bus.grant(add, "");
  started.get();
  EXPECT_EQ(textOf(bus.expect("RemoveMatch")), textOf(add));
  clock.settle();
  EXPECT_EQ(proxy.signals.count(), 1u);
}

// A signal "hold" keeps the proxy's task until the gate opens.
TEST_F(Faults, OfTooManySignalsAreTheOldestLostWithAWarningASecond) {
  Gate inside, go;
  connection = bus.connect();
  TestProxy proxy(connection, SERVICE, [&](TestProxy&, const Signal& signal) {
    if (textOf(signal) != "hold") return;
    inside.open();
    go.await(inside.count());
  });
  listen(proxy);
  std::string flood;
  for (int i = 0; i < 5; ++i) flood += ringing("oldest");
  for (std::size_t i = 0; i < TestProxy::MAXIMUM_QUEUED_MESSAGES; ++i) flood += ringing("x");
  int rounds = 0;
  for (const Elapsed& pause : {Elapsed(), Elapsed(0, 999'999'999), Elapsed(0, 1)}) {
    clock.advance(pause);
    proxy.signals.take();
    bus.write(ringing("hold"));
    inside.await(++rounds);
    bus.write(flood);
    expectAlive();
    go.open();
    clock.settle();
    const Texts heard = proxy.heard(1 + TestProxy::MAXIMUM_QUEUED_MESSAGES);
    EXPECT_EQ(heard.size(), 1 + TestProxy::MAXIMUM_QUEUED_MESSAGES);
    EXPECT_EQ(heard[1], "x");
  }
  const std::string warning = "4 Bus object /test/object is too slow: 5 signals were dropped";
  EXPECT_EQ(logger.get(), (Texts{warning, warning}));
}

TEST_F(Faults, OfTooManyCallsAreErrors) {
  connection = bus.connect();
  TestProxy listener(connection, SERVICE), other(connection, SERVICE);
  listen(listener);
  // Each asks the bus to begin and to end a subscription, and the bus answers nothing.
  for (std::size_t i = 0; i < Bus::Internal::Calls::MAXIMUM / 2; ++i) {
    other.start(false);
    other.stop();
  }
  EXPECT_EQ(asking("").get(), error("LimitsExceeded"));
}

TEST_F(Faults, OfABusThatTakesNoAnswersLoseThem) {
  TestProxy listener(bus.connect(), SERVICE);
  listen(listener);
  Call call;
  call.setPath("/");
  call.setInterface("org.freedesktop.DBus.Introspectable");
  call.setMember("Introspect");
  std::string calls;
  for (int i = 0; i < 1000; ++i) calls += bytesOf(call, ":1.8");
  // Each answer is larger than a call.
  for (std::size_t sent = 0; sent < 2 * Bus::Internal::OutgoingQueue::MAXIMUM_UNSENT_ANSWERS; sent += calls.size())
    bus.write(calls);
  EXPECT_TRUE(logger.waitFor("bus messages were dropped: too large, no memory, or a bus that does not read"));
}

// Each was stored whole before anybody asked for it, and without memory for it the link was lost.
TEST_F(Faults, OfSizeAreErrorsAndTheLinkStays) {
  connection = bus.connect();
  EXPECT_THROW(connection->setLargestMessage(16'383, 16'384), Bus::InvalidArgument);
  connection->setLargestMessage(20'000, 40'000);
  TestServer server(connection);
  server.start(true);
  const auto callOf = [](std::size_t size, const std::string& path = PATH) {
    Call call = callTo("Echo", std::string(size, 'x'));
    call.setPath(path.c_str());
    return bytesOf(call, ":1.8");
  };
  const std::string tooLarge = error("LimitsExceeded");
  const auto refusal = [this] {
    const Return reply = bus.receive<Return>();
    return std::string("!") + reply.getErrorName() + " " + reply.getErrorText();
  };
  for (const std::size_t piece : {std::size_t{7}, std::size_t{1000}, std::string::npos}) {
    clock.advance(Elapsed(1, 0));
    bus.write(callOf(30'000) + callOf(90'000) + callOf(19'000), piece);
    for (const std::string bytes : {"30133", "90133"})
      EXPECT_EQ(refusal(), tooLarge + " A message of " + bytes + " bytes was discarded: expected at most 20000");
    EXPECT_EQ(textOf(bus.receive<Return>()).size(), 19'000u);
    bus.write(callOf(0, "/" + std::string(10'000, 'x')), piece);
    EXPECT_EQ(refusal().size(), error("UnknownObject ").size() + 286) << "the path is cut";
    const std::tuple<std::size_t, const char*, std::string> replies[] = {{39'000, SERVICE, std::string(42, 'x')},
                                                                         {41'000, SERVICE, tooLarge},
                                                                         {41'000, ":1.8", "alive"},
                                                                         {30'000, ":1.8", "alive"}};
    for (const auto& [size, sender, outcome] : replies) {
      auto reply = asking("");
      const Call call = bus.expect("Echo");
      bus.write(replyTo(call, std::string(size, 'x'), sender) + replyTo(call, "alive"), piece);
      EXPECT_EQ(reply.get().substr(0, 42), outcome);
    }
    // What this second has left is told in the next one, before the one that is looked at.
    clock.advance(Elapsed(1, 0));
    expectAlive();
    clock.advance(Elapsed(1, 0));
    logger.take();
    bus.write(ringing(std::string(30'000, 'x'), ":1.8") + callOf(0, "/" + std::string(30'000, 'x')), piece);
    expectAlive();
    EXPECT_TRUE(logger.waitFor("bus messages were dropped: too large, no memory, or a bus that does not read"));
    EXPECT_EQ(logger.count(), 1u) << "one a second";
  }
}

}  // namespace
}  // namespace Quarnix::Test
