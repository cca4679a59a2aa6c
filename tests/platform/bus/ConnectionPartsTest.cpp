// The parts of a connection by themselves: what becomes of a message that is being written, and who may answer a call.
#include <deque>

#include <gtest/gtest.h>

#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/OutgoingQueue.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/ReaderRole.h>

namespace Quarnix::Bus::Internal {
namespace {

using State = Transaction::State;
using States = std::vector<State>;

constexpr std::size_t SIZE = 10;  // of each message

/// A link that takes so many bytes at each write, and is broken when nothing more is said.
struct ScriptedLink : Transport {
  int descriptor() const noexcept override { return 0; }
  std::ptrdiff_t write(const Message::Frame*, std::size_t, std::size_t) noexcept override {
    if (duringWrite) duringWrite();
    if (takes.empty()) return -1;
    const std::ptrdiff_t taken = takes.front();
    takes.pop_front();
    return taken;
  }
  bool read(std::vector<Received>&, std::string&) override { return false; }
  void shutdown() noexcept override {}

  std::deque<std::ptrdiff_t> takes;
  std::function<void()> duringWrite;
};

struct ConnectionParts : testing::Test {
  std::shared_ptr<Transaction> push(bool replyExpected) {
    auto made = std::make_shared<Transaction>();
    made->serial = calls.nextSerial();
    made->replyExpected = replyExpected;
    if (replyExpected) calls.add(made);
    outgoing.push({Message::Storage(SIZE), 0, SIZE}, made);
    return made;
  }
  OutgoingQueue::Result write() {
    MutexLock lock(mutex);
    return outgoing.write(mutex, link, reader);
  }

  Mutex mutex;
  ReaderRole reader;
  Calls calls{reader};
  OutgoingQueue outgoing{calls};
  std::shared_ptr<ScriptedLink> script = std::make_shared<ScriptedLink>();
  std::shared_ptr<Transport> link = script;
};

TEST_F(ConnectionParts, KnowHowFarEachMessageIs) {
  using Result = OutgoingQueue::Result;
  const struct {
    std::deque<std::ptrdiff_t> takes;
    Result result;
    States written, lost;  // of a call, a signal and a call
  } rows[] = {
      {{0},
       Result::BLOCKED,
       {State::QUEUED, State::QUEUED, State::QUEUED},
       {State::UNSENT, State::UNSENT, State::UNSENT}},
      {{1},
       Result::BLOCKED,
       {State::LEAVING, State::QUEUED, State::QUEUED},
       {State::LOST, State::UNSENT, State::UNSENT}},
      {{10}, Result::BLOCKED, {State::SENT, State::QUEUED, State::QUEUED}, {State::LOST, State::UNSENT, State::UNSENT}},
      {{29}, Result::BLOCKED, {State::SENT, State::SENT, State::LEAVING}, {State::LOST, State::SENT, State::LOST}},
      {{30}, Result::EMPTY, {State::SENT, State::SENT, State::SENT}, {State::LOST, State::SENT, State::LOST}},
      {{},
       Result::BROKEN,
       {State::QUEUED, State::QUEUED, State::QUEUED},
       {State::UNSENT, State::UNSENT, State::UNSENT}},
  };
  for (const auto& row : rows) {
    script->takes = row.takes;
    const std::shared_ptr<Transaction> messages[] = {push(true), push(false), push(true)};
    const auto states = [&] { return States{messages[0]->state, messages[1]->state, messages[2]->state}; };
    EXPECT_EQ(write(), row.result) << row.takes.size();
    EXPECT_EQ(states(), row.written);
    outgoing.loseAll();
    calls.loseAll();
    EXPECT_EQ(states(), row.lost);
  }
}

TEST_F(ConnectionParts, WriteTheRestOfAMessageThatIsGivenUp) {
  const auto leaving = push(true), queued = push(true);
  script->takes = {3, 0, 7};
  EXPECT_EQ(write(), OutgoingQueue::Result::BLOCKED);
  // The writer has both in hand meanwhile: the second one once stayed in the queue.
  script->duringWrite = [&] {
    for (const auto& one : {leaving, queued}) {
      outgoing.giveUp(*one);
      calls.giveUp(*one);
    }
  };
  EXPECT_EQ(write(), OutgoingQueue::Result::BLOCKED);
  script->duringWrite = nullptr;
  EXPECT_EQ(write(), OutgoingQueue::Result::EMPTY);
  EXPECT_EQ((States{leaving->state, queued->state}), (States{State::GIVEN_UP, State::GIVEN_UP}));
}

TEST_F(ConnectionParts, LoseALinkDuringAWrite) {
  const auto first = push(true), second = push(true);
  script->takes = {4};
  script->duringWrite = [&] {
    outgoing.loseAll();
    calls.loseAll();
    link.reset();
    EXPECT_EQ((States{first->state, second->state}), (States{State::LEAVING, State::LEAVING}));
  };
  EXPECT_EQ(write(), OutgoingQueue::Result::EMPTY);
  EXPECT_EQ((States{first->state, second->state}), (States{State::LOST, State::UNSENT}));
}

TEST_F(ConnectionParts, TakeAReplyFromWhoeverMayHaveTheCall) {
  const auto call = push(true);
  call->owner = ":1.1";
  const struct {
    const char* sender;
    bool isError, counts;
  } rows[] = {{":1.1", false, true},
              {":1.2", false, false},
              {"", false, false},
              {DRIVER_NAME, true, true},
              {DRIVER_NAME, false, false}};
  for (const auto& row : rows)
    EXPECT_EQ(calls.find(call->serial, row.sender, row.isError) == call, row.counts) << row.sender << row.isError;
  EXPECT_FALSE(calls.find(call->serial + 1, ":1.1", false));
}

TEST_F(ConnectionParts, GiveACallToTheOwnerThatMayHaveReceivedIt) {
  Host host{nullptr, "a.b"};
  const struct {
    std::uint64_t settledAt, reads;
    const char* now;
    bool isContested, oldCounts, newCounts;
  } rows[] = {{0, 5, ":1.2", false, true, true},  // it has not left
              {5, 4, ":1.2", false, true, true},  // the change may be older
              {5, 4, "", true, true, false},
              {5, 5, ":1.2", true, true, false}};  // the old owner has it
  for (const auto& row : rows) {
    const auto call = push(true);
    call->host = &host;
    call->owner = ":1.1";
    call->settledAt = row.settledAt;
    EXPECT_EQ(calls.changeOwner(host, ":1.1", row.now, row.reads), row.isContested);
    EXPECT_EQ(calls.find(call->serial, ":1.1", false) == call, row.oldCounts);
    EXPECT_EQ(calls.find(call->serial, ":1.2", false) == call, row.newCounts);
    calls.failThoseHeldBy(":1.1", &host, "org.freedesktop.DBus.Error.NameHasNoOwner", "gone");
    EXPECT_EQ(call->state == State::ANSWERED, row.isContested);
    calls.giveUp(*call);
  }
}

TEST_F(ConnectionParts, NumberCallsAroundZeroAndThoseInFlight) {
  Calls old(reader, 0xfffffffe);
  const auto call = push(false);
  call->serial = old.nextSerial();
  EXPECT_EQ(call->serial, 0xffffffff);
  old.add(call);
  EXPECT_EQ(old.nextSerial(), 1u);
  call->serial = 2;
  old.add(call);
  EXPECT_EQ(old.nextSerial(), 3u);
}

}  // namespace
}  // namespace Quarnix::Bus::Internal
