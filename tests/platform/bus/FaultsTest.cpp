// What goes wrong between a connection and its bus, with a bus that is played by the test.
#include <atomic>
#include <csignal>
#include <functional>
#include <map>
#include <memory>
#include <tuple>

#include <pthread.h>

#include <gtest/gtest.h>

#include <platform/bus/connection/Client.h>
#include <platform/bus/connection/SocketTransport.h>
#include <platform/core/time/SimulatedClock.h>
#include <platform/core/timer/Monotonic.h>
#include <tests/harness/CapturingLogger.h>
#include <tests/harness/ScriptedBus.h>

namespace Quarnix::Test {
namespace {

using namespace Harness;
using Bus::Internal::SocketTransport;
using Time::Elapsed;
using Texts = std::vector<std::string>;

/// A call to SERVICE itself; what textOf says of the reply.
std::string ask(const Shared::Pointer<Connection>& connection, const std::string& text = {},
                const Elapsed& timeout = Call::DEFAULT_TIMEOUT) {
  Call call = callTo("Echo", text);
  call.setPath(PATH);
  call.setDestination(ScriptedBus::SERVICE);
  call.setTimeout(timeout);
  return textOf(connection->call(call));
}

class Faults : public testing::Test {
 protected:
  std::future<std::string> asking(const Shared::Pointer<Connection>& connection, const std::string& text = {},
                                  const Elapsed& timeout = Call::DEFAULT_TIMEOUT) {
    return later([=] { return ask(connection, text, timeout); });
  }
  /// Calls once more: the connection is as good as before.
  void expectAlive(const Shared::Pointer<Connection>& connection) {
    auto reply = asking(connection, "alive");
    bus.answer(bus.expect("Echo"), "and well");
    EXPECT_EQ(reply.get(), "and well");
  }

  /// A proxy of SERVICE has been started.
  void listenedTo() {
    for (int rules = 0; rules < 2; ++rules) bus.expect("AddMatch");
  }

  Time::SimulatedClock clock;
  CapturingLogger logger;
  ScriptedBus bus;
};

TEST_F(Faults, StreamsAreReadHoweverTheyAreCut) {
  const std::string large(70'000, 'x');
  for (const std::size_t piece : {std::size_t{1}, std::size_t{7}, std::size_t{50'001}, std::size_t{1} << 20}) {
    const auto connection = Connection::open(bus.address());
    auto name = later([&] { return connection->getUniqueName(); });
    bus.accept();
    bus.line();
    // The greeting is answered before it is asked for, behind the last line of the dialogue.
    Call hello = callTo("Hello");
    hello.seal(1, {PATH, {}, {}});
    bus.write("DATA\r\nOKAY\r\nOK\n\r\nOK\r\n" + ScriptedBus::replyTo(hello, ScriptedBus::CLIENT, ScriptedBus::BUS) +
                  ScriptedBus::replyTo(hello, "again"),
              piece);
    for (const char* line : {"ERROR\r\n", "ERROR\r\n", "ERROR\r\n", "BEGIN\r\n"}) EXPECT_EQ(bus.line(), line);
    EXPECT_EQ(bus.expect("Hello").getSerial(), 1u);
    EXPECT_EQ(name.get(), ScriptedBus::CLIENT);
    auto one = asking(connection, "one"), two = asking(connection, "two");
    const Call first = bus.expect("Echo"), second = bus.expect("Echo");
    bus.write(ScriptedBus::replyTo(second, textOf(second) + large) + ScriptedBus::replyTo(first, textOf(first)), piece);
    EXPECT_EQ(one.get().substr(0, 4) + two.get().substr(0, 4), textOf(first) == "one" ? "onetwox" : "onextwo");
  }
}

/// Counts how often somebody goes to wait on a socket.
struct CountingClock : Time::SimulatedClock {
  int poll(pollfd* descriptors, nfds_t count, const Time::Monotonic& deadline) override {
    ++polls;
    return SimulatedClock::poll(descriptors, count, deadline);
  }
  std::atomic<int> polls{0};
};

// Signals interrupt the callers all the while.
TEST(FaultsOfASlowBus, MessagesGoOutWholeAndWithoutABusyLoop) {
  struct sigaction interrupt = {};
  interrupt.sa_handler = [](int) {};
  sigaction(SIGUSR1, &interrupt, nullptr);
  CountingClock clock;
  ScriptedBus bus;
  const auto connection = bus.connect();
  bus.narrow();
  std::promise<pthread_t> thread;
  auto interrupted = later([&] {
    thread.set_value(pthread_self());
    return ask(connection, std::string(20'000, 'a'));
  });
  const pthread_t caller = thread.get_future().get();
  auto other = later([&] { return ask(connection, std::string(20'000, 'b')); });
  for (int i = 0; i < 2; ++i) {
    pthread_kill(caller, SIGUSR1);
    const Call received = bus.receive<Call>(1);
    const std::string text = textOf(received);
    EXPECT_EQ(text, std::string(20'000, text[0]));
    bus.answer(received, text.substr(0, 1));
  }
  EXPECT_EQ(interrupted.get() + other.get(), "ab");
  EXPECT_LT(clock.polls, 2000) << "for 40000 reads of a byte";
}

TEST_F(Faults, OfTheStreamEndTheLinkAndSayWhy) {
  const auto greeted = [](const std::string& bytes) {
    return [bytes](ScriptedBus& self) {
      self.greet();
      self.expect("Echo");
      self.write(bytes);
    };
  };
  const auto answered = [](const auto& answer) {
    return [answer](ScriptedBus& self) { answer(self, self.authenticate()); };
  };
  using Script = std::function<void(ScriptedBus&)>;
  const auto said = [](const std::string& line) -> Script {
    return [line](ScriptedBus& self) {
      self.accept();
      self.line();
      self.write(line);
    };
  };
  const struct {
    Script script;
    const char* error;
    const char* text;
  } rows[] = {
      {[](ScriptedBus& self) { self.accept(); }, "", "onnect"},
      {said(""), "AuthFailed", "The bus closed the connection during authentication"},
      {said("REJECTED \xff\n\r\n"), "AuthFailed", "The bus refused the authentication of this user: REJECTED ??"},
      {said("OK 4567\r\n"), "AuthFailed", "The bus is not the one that is expected, with the guid 0123: OK 4567"},
      {said("OK\r\n"), "AuthFailed", "with the guid 0123: OK"},
      {said(std::string(5000, 'a')), "AuthFailed", "The bus sent an authentication line of more than 4096 bytes"},
      {answered([](ScriptedBus& self, const Call& hello) { self.answer(hello, error("LimitsExceeded")); }),
       "LimitsExceeded", "text"},
      {answered([](ScriptedBus& self, const Call&) { self.write(ScriptedBus::ownerChanged(NAME, "", "")); }), "Failed",
       "The bus did not answer the greeting"},
      {answered([](ScriptedBus& self, const Call& hello) {
         Return empty(hello);
         self.write(ScriptedBus::bytesOf(empty, ScriptedBus::BUS));
       }),
       "Failed", "The bus answered the greeting without a name"},
      {answered([](ScriptedBus& self, const Call& hello) { self.answer(hello, "", ScriptedBus::BUS); }), "Failed",
       "the name '': expected a unique name"},
      {answered([](ScriptedBus& self, const Call& hello) { self.answer(hello, NAME, ScriptedBus::BUS); }), "Failed",
       "the name 'com.example.Service': expected a unique name"},
      {greeted(""), "Disconnected", "The connection to the message bus was lost: "},
      {greeted(ScriptedBus::ownerChanged(NAME, "", "").substr(0, 40)), "Disconnected", "the bus closed the connection"},
      {greeted(std::string("l\2\1\2\0\0\0\0\1\0\0\0\0\0\0\0", 16)), "Disconnected",
       "the bus sent an invalid message: "},
      {greeted([] {
         Call call = callTo("Echo", std::string(Connection::LARGEST_CALL, 'x'));
         call.setPath(PATH);
         std::string bytes = ScriptedBus::bytesOf(call, ":1.8");
         bytes[bytes.find("Echo")] = '-';
         return bytes;
       }()),
       "Disconnected", "the bus sent an invalid message: "},
      {greeted(std::string("l\2\0\1\0\0\0\x08\1\0\0\0\0\0\0\0", 16)), "Disconnected", "at most 134217728 bytes"},
  };
  for (const auto& row : rows) {
    const auto connection = Connection::open(bus.address() + ",guid=0123");
    auto reply = later([&] {
      Call call = callTo("Echo");
      call.setPath(PATH);
      call.setDestination(ScriptedBus::SERVICE);
      return Return(*connection->call(call));
    });
    row.script(bus);
    bus.close();
    const Return failure = reply.get();
    if (*row.error) {
      EXPECT_EQ(std::string("!") + failure.getErrorName(), error(row.error));
    }
    EXPECT_NE(std::string(failure.getErrorText()).find(row.text), std::string::npos) << failure.getErrorText();
  }
}

// The deadline of a call covers connecting, and there is one for connecting itself.
TEST_F(Faults, OfASilentBusEndAtTheDeadline) {
  using Script = std::function<void(ScriptedBus&)>;
  const Script silences[] = {[](ScriptedBus& self) { self.accept(); }, [](ScriptedBus& self) { self.authenticate(); }};
  for (const Script& silence : silences) {
    for (const auto& [timeout, limit, outcome] :
         {std::tuple(Elapsed(1, 0), Elapsed(1, 0), "NoReply"),
          std::tuple(Elapsed(60, 0), SocketTransport::MAXIMUM_CONNECT_TIME, "Timeout")}) {
      auto reply = asking(Connection::open(bus.address()), {}, timeout);
      silence(bus);
      clock.awaitWaiters(1);
      EXPECT_EQ(clock.advance(Elapsed::ofNanoseconds(limit.getNanoseconds() - 1)), 0u);
      EXPECT_EQ(clock.advance(Elapsed(0, 1)), 1u);
      EXPECT_EQ(reply.get(), error(outcome));
    }
  }
}

// What has left in part must go out whole, and what has not must not go out any more.
TEST_F(Faults, OfABusThatDoesNotReadEndAtTheDeadline) {
  const auto connection = bus.connect();
  bus.narrow();
  std::vector<std::future<std::string>> replies;
  for (const char* text : {"first", "second"}) {
    replies.push_back(asking(connection, text + std::string(20'000, 'x')));
    clock.awaitWaiters(replies.size());
  }
  clock.advance(Call::DEFAULT_TIMEOUT);
  for (auto& reply : replies) EXPECT_EQ(reply.get(), error("NoReply"));
  auto reply = asking(connection, "third");
  EXPECT_EQ(textOf(bus.expect("Echo")).substr(0, 5), "first");
  const Call third = bus.expect("Echo");
  EXPECT_EQ(textOf(third), "third");
  bus.answer(third, "done");
  EXPECT_EQ(reply.get(), "done");
}

TEST_F(Faults, OfRepliesAreDroppedAndTheRightOneCounts) {
  const auto connection = bus.connect();
  auto late = asking(connection, "late");
  const Call overdue = bus.expect("Echo");
  clock.awaitWaiters(1);
  clock.advance(Call::DEFAULT_TIMEOUT);
  EXPECT_EQ(late.get(), error("NoReply"));

  std::map<std::string, std::future<std::string>> replies;
  std::vector<Call> calls;
  for (const char* text : {"one", "two", "three"}) {
    replies[text] = asking(connection, text);
    calls.push_back(bus.expect("Echo"));
    EXPECT_NE(calls.back().getSerial(), overdue.getSerial());
  }
  bus.answer(overdue, "too late");
  for (auto call = calls.rbegin(); call != calls.rend(); ++call) {
    for (const char* forger : {":1.8", ScriptedBus::BUS, ScriptedBus::CLIENT, NAME})
      bus.answer(*call, "forged", forger);
    bus.answer(*call, error("Failed"), ":1.8");
    for (const char* times : {"", " again"}) bus.answer(*call, textOf(*call) + times);
  }
  for (auto& [text, reply] : replies) EXPECT_EQ(reply.get(), text);
  expectAlive(connection);
}

TEST_F(Faults, OfAServiceThatIsNotThereYetAreNone) {
  const auto connection = bus.connect();
  const TestProxy proxy(connection, NAME);
  const auto asking = [&] { return later([&] { return proxy.ask("Echo"); }); };
  // It is started by the call, and answers late.
  auto reply = asking();
  bus.expect("AddMatch");
  bus.answer(bus.expect("GetNameOwner"), error("NameHasNoOwner"), ScriptedBus::BUS);
  Call call = bus.expect("Echo");
  bus.answer(call, "too early", ":1.20");
  bus.write(ScriptedBus::ownerChanged(NAME, "", ":1.20"));
  bus.answer(call, "forged", ":1.21");
  bus.answer(call, "activated", ":1.20");
  EXPECT_EQ(reply.get(), "activated");
  // It is started anew while the call waits in the bus for it.
  reply = asking();
  call = bus.expect("Echo");
  bus.write(ScriptedBus::ownerChanged(NAME, ":1.20", "") + ScriptedBus::ownerChanged(NAME, "", ":1.21"));
  Return gone(bus.expect("NameHasOwner"));
  gone.begin().append(false);
  bus.write(ScriptedBus::bytesOf(gone, ScriptedBus::BUS));
  bus.answer(call, "restarted", ":1.21");
  EXPECT_EQ(reply.get(), "restarted");
}

TEST_F(Faults, OfALostBusEndTheCallsAtOnceAndTheRestComesBack) {
  struct Bell : Timer::Monotonic {
    Bell() : Timer::Monotonic(Time::Monotonic(Elapsed(1, 0)), true) {}
    ~Bell() override { retire(); }
    void expired(const Time::Monotonic&) override { ++rings; }
    int rings = 0;
  } bell;
  const auto connection = bus.connect();
  TestServer server(connection);
  TestProxy proxy(connection, NAME);
  auto owned = later([&] { TestServer::serve(server, NAME); });
  Return owner(bus.expect("RequestName"));
  owner.begin().append(1U);
  bus.write(ScriptedBus::bytesOf(owner, ScriptedBus::BUS));
  owned.get();
  proxy.start(false);
  for (const char* member : {"AddMatch", "GetNameOwner", "AddMatch"})
    bus.answer(bus.expect(member), ":1.20", ScriptedBus::BUS);
  bell.start();
  std::vector<std::future<std::string>> replies;
  for (int i = 0; i < 3; ++i) replies.push_back(asking(connection));
  for (int i = 0; i < 3; ++i) bus.expect("Echo");
  bus.close();
  for (auto& reply : replies) EXPECT_EQ(reply.get(), error("Disconnected"));
  EXPECT_TRUE(logger.waitFor("4 Lost the message bus: "));

  bus.greet();
  bus.expect("AddMatch");
  bus.answer(bus.expect("GetNameOwner"), error("NameHasNoOwner"), ScriptedBus::BUS);
  EXPECT_NE(textOf(bus.expect("AddMatch")).find(PATH), std::string::npos);
  Return taken(bus.expect("RequestName"));
  taken.begin().append(2U);
  bus.write(ScriptedBus::bytesOf(taken, ScriptedBus::BUS));
  Signal former = signalOf("Rang", "of the former owner"), now = signalOf("Rang", "of the present one");
  bus.write(ScriptedBus::bytesOf(former, ":1.20") + ScriptedBus::ownerChanged(NAME, "", ":1.21") +
            ScriptedBus::bytesOf(now, ":1.21"));
  EXPECT_EQ(proxy.heard(1), Texts{"of the present one"});
  EXPECT_TRUE(logger.waitFor("4 The bus name com.example.Service was taken by another connection: it comes back"));
  Call call = callTo("Echo", "served");
  call.setPath(PATH);
  bus.write(ScriptedBus::bytesOf(call, ":1.21"));
  EXPECT_EQ(textOf(bus.receive<Return>()), "served") << "nothing is sent again in between";
  EXPECT_EQ(bell.rings, 0);
  clock.advance(Elapsed(1, 0));
  EXPECT_EQ(bell.rings, 1);
}

using Bus::Internal::Transport;

/// A link at which a writer is held up, with its bytes gone or not.
struct HeldLink : Transport {
  explicit HeldLink(std::shared_ptr<Transport> held) : link(std::move(held)) { uniqueName_ = link->uniqueName(); }
  int descriptor() const noexcept override { return link->descriptor(); }
  bool read(std::vector<Bus::Internal::Received>& messages, std::string& reason) override {
    return link->read(messages, reason);
  }
  void shutdown() noexcept override { link->shutdown(); }
  std::ptrdiff_t write(const Bus::Message::Frame* frames, std::size_t count, std::size_t offset) noexcept override {
    if (!isHeld) return link->write(frames, count, offset);
    const std::ptrdiff_t written = isLate ? link->write(frames, count, offset) : 0;
    inside.open();
    go.await();
    return isLate ? written : link->write(frames, count, offset);
  }
  const std::shared_ptr<Transport> link;
  std::atomic<bool> isHeld{false}, isLate{false};
  Gate inside, go;
};

struct HeldClient : Bus::Internal::Client {
  using Client::Client;
  std::shared_ptr<Transport> openLink(const Time::Monotonic& deadline) override {
    if (link) return Client::openLink(deadline);
    return link = std::make_shared<HeldLink>(Client::openLink(deadline));
  }
  std::shared_ptr<HeldLink> link;
};

// A message of which nothing had left was once taken for lost with the link, because somebody was about to write it.
TEST_F(Faults, OfALinkDuringAWriteLoseWhatHasLeftAndNothingElse) {
  const struct {
    bool isLate;
    Elapsed meanwhile;
    std::string outcome;
  } rows[] = {{false, {}, "on the next link"},
              {false, Call::DEFAULT_TIMEOUT, error("NoReply")},
              {true, {}, error("Disconnected")}};
  for (const auto& row : rows) {
    const auto client = std::make_shared<HeldClient>(Bus::Internal::parseAddresses(bus.address()));
    const auto connection = bus.connect(Shared::make<Connection>(client));
    TestProxy listener(connection, ScriptedBus::SERVICE);
    listener.start(false);
    listenedTo();
    client->link->isLate = row.isLate;
    client->link->isHeld = true;
    auto reply = asking(connection, "held");
    client->link->inside.await();
    bus.close();
    bus.greet();
    clock.advance(row.meanwhile);
    client->link->go.open();
    listenedTo();
    if (row.outcome == "on the next link") bus.answer(bus.expect("Echo"), row.outcome);
    EXPECT_EQ(reply.get(), row.outcome);
    expectAlive(connection);
  }
}

TEST_F(Faults, DoNotComeOfAStopDuringAStart) {
  const auto connection = bus.connect();
  TestProxy proxy(connection, ScriptedBus::SERVICE, [](TestProxy& self, const Signal&) { self.stop(); });
  auto started = later([&] { proxy.start(true); });
  bus.expect("AddMatch");
  const Call add = bus.expect("AddMatch");
  Signal signal = signalOf("Rang", "first");
  for (int i = 0; i < 2; ++i) bus.write(ScriptedBus::bytesOf(signal, ScriptedBus::SERVICE));
  EXPECT_EQ(proxy.heard(1), Texts{"first"});
  bus.answer(add, "", ScriptedBus::BUS);
  started.get();
  EXPECT_EQ(textOf(bus.expect("RemoveMatch")), textOf(add));
  clock.settle();
  EXPECT_EQ(proxy.signals.count(), 1u);
}

// A signal "hold" keeps the proxy's task until the gate opens.
TEST_F(Faults, OfTooManySignalsAreTheOldestLostWithAWarningASecond) {
  Gate inside, go;
  TestProxy proxy(bus.connect(), ScriptedBus::SERVICE, [&](TestProxy&, const Signal& signal) {
    if (textOf(signal) != "hold") return;
    inside.open();
    go.await(inside.count());
  });
  proxy.start(false);
  listenedTo();
  Signal held = signalOf("Rang", "hold"), other = signalOf("Rang", "x");
  const std::string hold = ScriptedBus::bytesOf(held, ScriptedBus::SERVICE);
  Signal oldest = signalOf("Rang", "oldest");
  const std::string old = ScriptedBus::bytesOf(oldest, ScriptedBus::SERVICE);
  const std::string one = ScriptedBus::bytesOf(other, ScriptedBus::SERVICE);
  std::string flood = old + old + old + old + old;
  for (std::size_t i = 0; i < TestProxy::MAXIMUM_QUEUED_MESSAGES; ++i) flood += one;
  int warnings = 0;
  for (const Elapsed& later : {Elapsed(), Elapsed(0, 999'999'999), Elapsed(0, 1)}) {
    clock.advance(later);
    proxy.signals.take();
    bus.write(hold);
    inside.await(warnings + 1);
    bus.write(flood);
    expectAlive(proxy.getConnection());
    go.open();
    clock.settle();
    const Texts heard = proxy.heard(1 + TestProxy::MAXIMUM_QUEUED_MESSAGES);
    EXPECT_EQ(heard.size(), 1 + TestProxy::MAXIMUM_QUEUED_MESSAGES);
    EXPECT_EQ(heard[1], "x");
    ++warnings;
  }
  EXPECT_EQ(logger.get(), (Texts{"4 Bus object /test/object is too slow: 5 signals were dropped",
                                 "4 Bus object /test/object is too slow: 5 signals were dropped"}));
}

TEST_F(Faults, OfTooManyCallsAreErrors) {
  TestProxy listener(bus.connect(), ScriptedBus::SERVICE), other(listener.getConnection(), ScriptedBus::SERVICE);
  listener.start(false);
  // Each asks the bus to begin and to end a subscription, and the bus answers nothing.
  for (std::size_t i = 0; i < Bus::Internal::Calls::MAXIMUM / 2; ++i) {
    other.start(false);
    other.stop();
  }
  EXPECT_EQ(ask(listener.getConnection()), error("LimitsExceeded"));
}

TEST_F(Faults, OfABusThatTakesNoAnswersLoseThem) {
  TestProxy listener(bus.connect(), ScriptedBus::SERVICE);
  listener.start(false);
  listenedTo();
  Call call;
  call.setPath("/");
  call.setInterface("org.freedesktop.DBus.Introspectable");
  call.setMember("Introspect");
  const std::string bytes = ScriptedBus::bytesOf(call, ":1.8");
  std::string calls;
  for (int i = 0; i < 1000; ++i) calls += bytes;
  // Each answer is larger than a call.
  for (std::size_t sent = 0; sent < 2 * Bus::Internal::OutgoingQueue::MAXIMUM_UNSENT_ANSWERS; sent += calls.size())
    bus.write(calls);
  EXPECT_TRUE(logger.waitFor("bus messages were dropped: too large, no memory, or a bus that does not read"));
}

// Each was stored whole before anybody asked for it, and without memory for it the link was lost.
TEST_F(Faults, OfSizeAreErrorsAndTheLinkStays) {
  const auto connection = bus.connect();
  EXPECT_THROW(connection->setLargestMessage(16'383, 16'384), Bus::InvalidArgument);
  connection->setLargestMessage(20'000, 40'000);
  TestServer server(connection);
  server.start(true);
  const auto callOf = [](std::size_t size) {
    Call call = callTo("Echo", std::string(size, 'x'));
    call.setPath(PATH);
    return ScriptedBus::bytesOf(call, ":1.8");
  };
  const std::string warning = "bus messages were dropped: too large, no memory, or a bus that does not read";
  for (const std::size_t piece : {std::size_t{7}, std::size_t{1000}, std::string::npos}) {
    clock.advance(Elapsed(1, 0));
    bus.write(callOf(30'000) + callOf(90'000) + callOf(19'000), piece);
    for (const char* bytes : {"30", "90"}) {
      const Return refused = bus.receive<Return>();
      EXPECT_EQ(std::string("!") + refused.getErrorName(), error("LimitsExceeded"));
      EXPECT_EQ(refused.getErrorText(),
                std::string("A message of ") + bytes + "133 bytes was discarded: expected at most 20000");
    }
    EXPECT_EQ(textOf(bus.receive<Return>()).size(), 19'000u);
    Call astray = callTo("Echo");
    astray.setPath("/" + std::string(10'000, 'x'));
    bus.write(ScriptedBus::bytesOf(astray, ":1.8"), piece);
    EXPECT_EQ(std::string(bus.receive<Return>().getErrorText()).size(), 286u) << "the path is cut";
    for (const auto& [size, sender, outcome] : {std::tuple(39'000, ScriptedBus::SERVICE, "x"),
                                                {41'000, ScriptedBus::SERVICE, "LimitsExceeded"},
                                                {41'000, ":1.8", "alive"},
                                                {30'000, ":1.8", "alive"}}) {
      auto reply = asking(connection);
      const Call call = bus.expect("Echo");
      bus.write(ScriptedBus::replyTo(call, std::string(static_cast<std::size_t>(size), 'x'), sender), piece);
      bus.answer(call, "alive");
      EXPECT_EQ(reply.get().substr(0, 42), *outcome == 'x'   ? std::string(42, 'x')
                                           : *outcome == 'L' ? error(outcome)
                                                             : outcome);
    }
    Signal signal = signalOf("Rang", std::string(30'000, 'x'));
    Call unnamed = callTo("Echo");
    unnamed.setPath("/" + std::string(30'000, 'x'));
    // What the second before has left is told now.
    expectAlive(connection);
    clock.advance(Elapsed(1, 0));
    logger.take();
    bus.write(ScriptedBus::bytesOf(signal, ":1.8") + ScriptedBus::bytesOf(unnamed, ":1.8"), piece);
    expectAlive(connection);
    EXPECT_TRUE(logger.waitFor(warning));
    EXPECT_EQ(logger.count(warning), 1u) << "one a second";
  }
}

}  // namespace
}  // namespace Quarnix::Test
