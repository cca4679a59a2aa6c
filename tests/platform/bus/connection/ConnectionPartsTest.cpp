// The parts of a connection by themselves: its address, its match rules, and what becomes of a message that is
// being written.
#include <deque>

#include <gtest/gtest.h>

#include <platform/bus/Connection.h>
#include <platform/bus/DeliveryQueue.h>
#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/MatchRule.h>
#include <platform/bus/connection/OutgoingQueue.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/ReaderRole.h>

namespace Quarnix::Bus::Internal {
namespace {

TEST(Address, NamesTheSocketsOrWhatIsWrong) {
  const std::pair<const char*, std::vector<std::string>> rows[] = {
      {"unix:guid=0123,path=/run/bus", {"/run/bus"}},
      {"unix:path=/a%20b%2c%3B%39", {"/a b,;9"}},
      {"unix:abstract=name", {std::string("\0name", 5)}},
      {"tcp:host=localhost,port=1;unix:path=/a;unix:path=/b;", {"/a", "/b"}},
      {"unixexec:argv2=b%20c,argv1=,path=ssh,argv4=d", {"ssh", "ssh", "", "b c"}},
      {"unixexec:path=ssh,argv0=s;unix:path=/a", {"ssh", "s", "/a"}},
  };
  for (const auto& [text, expected] : rows) {
    std::vector<std::string> paths;
    for (const Address& address : parseAddresses(text)) {
      paths.push_back(address.path);
      paths.insert(paths.end(), address.arguments.begin(), address.arguments.end());
    }
    EXPECT_EQ(paths, expected) << text;
  }
  const std::pair<std::string, const char*> wrong[] = {
      {"", "expected a unix:path=..., unix:abstract=... or unixexec:path=... address"},
      {"unixexec:argv0=ssh", "expected path=, the program to run"},
      {"unixexec:path=ssh,argv1=a%00b", "expected no %00 behind argv1="},
      {"sytem", "expected \"system\", \"session\", \"in-process\" or unix:path=..."},
      {"tcp:host=localhost,port=1", "expected a unix:path=..., unix:abstract=... or unixexec:path=... address"},
      {"unix:", "expected path= or abstract="},
      {"unix:/run/bus", "expected KEY=VALUE, such as path=/run/dbus/system_bus_socket"},
      {"unix:path=", "expected a value behind path="},
      {"unix:path=/a,abstract=b", "expected only one of path= and abstract="},
      {"unix:path=/a%zz", "expected two hexadecimal digits behind '%'"},
      {"unix:path=/" + std::string(107, 'a'), "expected a socket path of at most 107 bytes"},
  };
  for (const auto& [text, expected] : wrong) {
    try {
      Connection::open(text);
      ADD_FAILURE() << text << " was accepted";
    } catch (const InvalidArgument& error) {
      EXPECT_EQ(std::string(error.what()), "Bus address \"" + text + "\": " + expected);
    }
  }
}

TEST(MatchRule, LetsThroughWhatAgreesWithEveryKeyOrSaysWhatIsWrong) {
  Message::Signal signal("/a/b", "com.example.One", "Rang");
  signal.begin().append("first");
  const struct {
    const char* text;
    bool matches;
    const char* problem;
  } rows[] = {
      {"", true, ""},
      {"type='method_call'", false, ""},
      {"path='/a'", false, ""},
      {"interface='com.example.Two',member='Rang'", false, ""},
      {"interface='com.example.One',member='Ran'", false, ""},
      {"arg0=''", false, ""},
      {"sender='a.b',type='signal',path='/a/b',interface='com.example.One',member='Rang',arg0='first'", true, ""},
      {"type=signal", false, "expected KEY='VALUE' at \"type=signal\""},
      {"path='/a',member='x", false, "expected KEY='VALUE' at \"member='x\""},
      {"arg1='x'", false, "expected type, sender, path, interface, member or arg0 instead of \"arg1\""},
  };
  std::string problem;
  for (const auto& row : rows) {
    problem.clear();
    const auto rule = MatchRule::parse(row.text, problem);
    EXPECT_EQ(problem, row.problem) << row.text;
    EXPECT_EQ(rule && rule->matches(signal, true), row.matches) << row.text;
    EXPECT_FALSE(rule && rule->matches(signal, false)) << row.text;
  }
  EXPECT_FALSE(MatchRule::parse("arg0='5'", problem)->matches(Message::Signal("/a", "a.b", "c"), true));
}

using State = Transaction::State;
using Result = OutgoingQueue::Result;

/// A link that takes so many bytes at each write.
struct ScriptedLink : Transport {
  int descriptor() const noexcept override { return isPushing ? -1 : 0; }
  std::uint64_t routed() const noexcept override { return 5; }
  std::ptrdiff_t write(const Message::Frame*, std::size_t, std::size_t) noexcept override {
    if (duringWrite) duringWrite();
    const std::ptrdiff_t taken = takes.front();
    takes.pop_front();
    return taken;
  }
  bool read(std::vector<Received>&, std::string&) override { return false; }
  void shutdown() noexcept override {}

  bool isPushing = false;
  std::deque<std::ptrdiff_t> takes;
  std::function<void()> duringWrite;
};

struct ConnectionParts : testing::Test {
  std::shared_ptr<Transaction> push(Host* host = nullptr) {
    auto made = std::make_shared<Transaction>(Request{call, &call, {}, host});
    made->serial = calls.nextSerial();
    made->state = State::QUEUED;
    calls.add(made);
    outgoing.push({Message::Storage(10), 0, 10}, made);
    return made;
  }
  Result write() {
    MutexLock lock(mutex);
    return outgoing.write(mutex, link, reader);
  }

  Mutex mutex;
  ReaderRole reader;
  Window window;
  Counters counters;
  Calls calls{reader, window, counters};
  Message::Method::Call call;
  OutgoingQueue outgoing{calls};
  std::shared_ptr<ScriptedLink> script = std::make_shared<ScriptedLink>();
  std::shared_ptr<Transport> link = script;
};

TEST_F(ConnectionParts, WriteTheRestOfAMessageThatIsGivenUp) {
  const auto leaving = push(), queued = push();
  script->takes = {3, 0, 7};
  EXPECT_EQ(write(), Result::BLOCKED);
  EXPECT_TRUE(leaving->state == State::LEAVING && queued->state == State::QUEUED);
  // The writer has both in hand meanwhile: the second one once stayed in the queue.
  script->duringWrite = [&] {
    for (const auto& one : {leaving, queued}) {
      outgoing.giveUp(*one);
      calls.giveUp(*one);
    }
  };
  EXPECT_EQ(write(), Result::BLOCKED);
  script->duringWrite = nullptr;
  EXPECT_EQ(write(), Result::EMPTY);
  EXPECT_TRUE(leaving->state == State::GIVEN_UP && queued->state == State::GIVEN_UP);
}

TEST_F(ConnectionParts, LoseALinkDuringAWrite) {
  const auto first = push(), second = push();
  script->takes = {4};
  script->duringWrite = [&] {
    outgoing.loseAll();
    calls.loseAll();
    link.reset();
    EXPECT_TRUE(first->state == State::LEAVING && second->state == State::LEAVING);
  };
  EXPECT_EQ(write(), Result::EMPTY);
  EXPECT_TRUE(first->state == State::LOST && second->state == State::UNSENT);
}

// The service loses its name and takes it again before the writer is back: only the first call was routed by then.
TEST_F(ConnectionParts, EndACallThatTheServiceHadBeforeItCameBack) {
  Host host{nullptr, "com.example.Service"};
  const auto held = push(&host), next = push(&host);
  held->owner = next->owner = ":1.1";
  script->isPushing = true;
  script->takes = {20};
  script->duringWrite = [&] {
    EXPECT_TRUE(calls.changeOwner(host, ":1.1", "", 6, 1));
    calls.setOwner(host, ":1.1", 6);
  };
  EXPECT_EQ(write(), Result::EMPTY);
  calls.failThoseAsked(1, "test.Error", "");
  EXPECT_TRUE(held->state == State::ANSWERED && next->state == State::SENT);
}

TEST_F(ConnectionParts, NumberCallsAroundZeroAndThoseInFlight) {
  Calls old(reader, window, counters, 0xfffffffe);
  const auto one = push();
  for (const std::uint32_t serial : {0xffffffffU, 1U, 3U}) {
    EXPECT_EQ(old.nextSerial(), serial);
    one->serial = serial == 1 ? 2 : serial;
    old.add(one);
  }
}

// A call that comes back because its link was lost stands where it stood.
TEST_F(ConnectionParts, KeepCallsThatWaitInTheOrderOfTheirTurns) {
  const auto made = [&](std::uint64_t turn) {
    auto waiting = std::make_shared<Transaction>(Request{call, &call});
    waiting->turn = turn;
    return waiting;
  };
  const auto third = made(3), fifth = made(5);
  for (const auto& waiting : {third, made(4), fifth, made(1), made(2)}) window.wait(waiting);
  window.remove(*fifth);
  window.remove(*third);
  window.wait(made(6));
  window.setSize(1);
  std::vector<std::uint64_t> turns;
  while (const auto next = window.takeNext()) turns.push_back(next->turn);
  EXPECT_EQ(turns, (std::vector<std::uint64_t>{1, 2, 4, 6}));
  window.wait(made(7));
  window.enter();
  EXPECT_EQ(window.takeNext(), nullptr);
  window.leave();
  EXPECT_EQ(window.takeNext()->turn, 7U);
}

TEST(DeliveryQueue, KeepsItsLimitsToTheByte) {
  DeliveryQueue queue(2, 100);
  const struct {
    std::uint32_t size;
    bool droppable, isTaken;
    std::size_t dropped;
  } rows[] = {{101, false, false, 0}, {101, true, true, 1}, {100, false, true, 0}, {1, false, false, 0},
              {60, true, true, 1},    {40, true, true, 0},  {1, false, false, 0},  {1, true, true, 1}};
  for (const auto& row : rows) {
    auto delivery = std::make_unique<Delivery>();
    delivery->frame.end = row.size;
    const Receiver::Queued queued = queue.offer(std::move(delivery), row.droppable);
    EXPECT_EQ(queued.isTaken, row.isTaken) << row.size;
    EXPECT_EQ(queued.dropped, row.dropped) << row.size;
  }
}

}  // namespace
}  // namespace Quarnix::Bus::Internal
