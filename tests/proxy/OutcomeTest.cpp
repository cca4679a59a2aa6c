// How an observer hears, once, of each command's end.
#include <atomic>
#include <future>
#include <thread>

#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/FakeStack.h>
#include <tests/harness/BusDaemon.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using namespace std::chrono_literals;
using Command::Outcome;
using Stack::Effect;

/// Keeps "g_1 FINISHED 3", with the reason behind REFUSED.
class Ends : public Command::OutcomeObserver {
 public:
  void ended(const Group& group, std::uint32_t id, const Outcome& outcome) override {
    static constexpr const char* KINDS[] = {"FINISHED ", "TIMED_OUT", "REFUSED ", "SERVICE_LOST", "ABANDONED"};
    std::string text = group.getId() + "_" + std::to_string(id) + " " + KINDS[static_cast<std::size_t>(outcome.kind)];
    if (outcome.kind == Outcome::Kind::FINISHED) text += std::to_string(static_cast<unsigned>(outcome.status));
    if (outcome.kind == Outcome::Kind::REFUSED) text += outcome.reason;
    heard.add(std::move(text));
    throw std::runtime_error("which keeps nobody from hearing of the next");
  }
  Texts heard;
};

class OutcomeTest : public testing::Test {
 protected:
  OutcomeTest() { manager->start(true); }

  void add(std::initializer_list<std::uint32_t> ids, const Shared::Pointer<Client>& client = Shared::make<Client>()) {
    CommandContainerList list;
    for (const std::uint32_t id : ids) {
      Hevra::Command command;
      command.setId(id);
      list.append(command);
    }
    while (list.next()) continue;  // wherever its cursor stands, the list is sent as a whole
    manager->submit(client, Group("g"), list, ends);
  }
  Lines heardAfter(std::chrono::seconds span) {
    stack.advance(span);
    return ends->heard.take();
  }

  LoggedLines lines;
  Stack::FakeStack stack;
  std::unique_ptr<Command::Manager> manager = std::make_unique<Command::Manager>(false, "app");
  Shared::Pointer<Ends> ends = Shared::make<Ends>();
};

TEST_F(OutcomeTest, IsTheFirstOfWhatEndsACommand) {
  stack.plan({{.on = "progress", .command = 1, .effect = Effect::duplicate()},
              {.on = "progress", .command = 2, .nth = 3, .effect = Effect::error(ErrorCode(1, 1), "no")},
              {.on = "progress", .command = 3, .nth = 3, .effect = Effect::late()}});
  add({1, 2, 3});
  EXPECT_EQ(heardAfter(1s), (Lines{"g_1 FINISHED 3", "g_2 FINISHED 4"}));
  EXPECT_EQ(heardAfter(100s), Lines{"g_3 TIMED_OUT"});

  add({1});
  stack.plan({{.on = "add", .times = 1, .effect = Effect::error("com.example.Busy", "not now")}});
  EXPECT_THROW(add({1, 2}), Return);
  EXPECT_EQ(heardAfter(0s), (Lines{"g_2 REFUSED com.example.Busy: not now", "g_1 REFUSED com.example.Busy: not now"}));

  stack.restart();
  EXPECT_EQ(heardAfter(0s), Lines{"g_1 SERVICE_LOST"});
  add({4});
  EXPECT_EQ(heardAfter(0s), Lines());
  manager.reset();
  EXPECT_EQ(heardAfter(0s), Lines{"g_4 ABANDONED"});
}

TEST_F(OutcomeTest, OfACommandWhoseCallGotNoAnswerIsStillToCome) {
  stack.serve({.pace = Time::Elapsed(20, 0)});
  stack.plan(
      {{.on = "add", .effect = Effect::silence()}, {.on = "progress", .command = 2, .effect = Effect::silence()}});
  auto adding = std::async(std::launch::async, [this] { add({1, 2}); });
  stack.clock().awaitWaiters(1);
  EXPECT_EQ(heardAfter(25s), Lines());
  EXPECT_THROW(adding.get(), Return);
  EXPECT_EQ(heardAfter(15s), Lines{"g_1 FINISHED 3"});
  stack.restart();
  EXPECT_EQ(heardAfter(0s), Lines{"g_2 SERVICE_LOST"});
}

// Who owns the name is learnt while the call is out.
TEST(FirstOutcome, IsNoLossOfAServiceThatOnlyDoesNotAnswer) {
  const LoggedLines lines;
  Time::SimulatedClock clock;
  const Harness::BusDaemon daemon;
  Stack::Options options;
  Harness::Gate arrived;
  options.silent = options.drop = 1;
  options.submitted = [&](const Stack::Submission&) { arrived.open(); };
  Stack::Service service(options, Bus::Connection::open(daemon.address()));
  service.start();
  Command::Manager manager(false, "app");
  manager.setConnection(Bus::Connection::open(daemon.address()));
  const auto ends = Shared::make<Ends>();
  auto adding = std::async(std::launch::async, [&] {
    manager.submit(Shared::make<Client>(), Group("g"), CommandContainerList{Hevra::Command()}, ends);
  });
  EXPECT_TRUE(arrived.await());
  clock.awaitWaiters(1);
  clock.advance(Time::Elapsed(25, 0));
  EXPECT_THROW(adding.get(), Return);
  clock.settle();
  EXPECT_EQ(ends->heard.take(), Lines());
  clock.advance(Time::Elapsed(35, 0));
  EXPECT_EQ(ends->heard.take(), Lines{"g_0 TIMED_OUT"});
}

TEST_F(OutcomeTest, IsToldForEachTimeThatAKeyWasSubmitted) {
  // Of the reports of two commands only one end is heard.
  stack.plan({{.on = "progress", .times = 4, .effect = Effect::silence()},
              {.on = "progress", .nth = 6, .effect = Effect::silence()}});
  const auto client = Shared::make<Client>([this, again = true]() mutable {
    if (std::exchange(again, false)) add({1});
  });
  add({1}, client);
  add({1});
  EXPECT_EQ(heardAfter(1s), (Lines{"g_1 FINISHED 3", "g_1 FINISHED 3"}));
  EXPECT_EQ(heardAfter(60s), Lines{"g_1 TIMED_OUT"});
}

TEST_F(OutcomeTest, OfAStoppedManagerIsATimeOut) {
  stack.plan({{.on = "progress", .effect = Effect::silence()}});
  add({1});
  manager->stop();
  stack.restart();
  EXPECT_EQ(heardAfter(59s), Lines());
  EXPECT_EQ(heardAfter(1s), Lines{"g_1 TIMED_OUT"});
  lines.take();
  add({2});
  EXPECT_EQ(lines.count(), 1u) << "that no progress is heard";
  stack.restart();
  EXPECT_EQ(heardAfter(0s), Lines{"g_2 SERVICE_LOST"});
}

// For the thread sanitizer: a command ended on a task that looked into the table of virtual operations, while the
// destructor of the derived class changed it. What waits for the end is relaxed, so as to order nothing else.
TEST_F(OutcomeTest, MayComeWhileADerivedManagerThatIsStoppedIsDestroyed) {
  struct Derived : Command::Manager {
    ~Derived() override {
      stop();
      stopped.open();
      while (!ended.load(std::memory_order_relaxed)) std::this_thread::yield();
    }
    Harness::Gate& stopped;
    std::atomic<bool>& ended;
    Derived(Harness::Gate& gate, std::atomic<bool>& flag) : Manager(false, "other"), stopped(gate), ended(flag) {}
  };
  struct Flag : Command::OutcomeObserver {
    explicit Flag(std::atomic<bool>& flag) : ended_(flag) {}
    void ended(const Group&, std::uint32_t, const Outcome&) override { ended_.store(true, std::memory_order_relaxed); }
    std::atomic<bool>& ended_;
  };
  Harness::Gate stopped;
  std::atomic<bool> ended{false};
  stack.plan({{.on = "progress", .effect = Effect::silence()}});
  auto derived = std::make_unique<Derived>(stopped, ended);
  derived->submit(Shared::make<Client>(), Group("g"), CommandContainerList{Hevra::Command()},
                  Shared::make<Flag>(ended));
  auto destroying = std::async(std::launch::async, [&] { derived.reset(); });
  EXPECT_TRUE(stopped.await());
  stack.advance(60s);
  destroying.get();
  EXPECT_TRUE(ended);
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
