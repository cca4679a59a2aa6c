// The timers of the process: order, re-arming, stopping, retiring, and many at once.
#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <thread>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Timer {
namespace {

using Test::CapturingLogger;
using Test::Gate;
using Test::TestTask;
using Test::TestTimer;
using Time::Clock;
using Time::Elapsed;
using Time::SimulatedClock;

/// A time relative to a start, or a point.
Time::Monotonic seconds(std::int64_t count) { return Time::Monotonic(Elapsed(count, 0)); }

class Timer : public ::testing::Test {
 protected:
  std::unique_ptr<TestTimer> make(std::int64_t time, int name) {
    return std::make_unique<TestTimer>(Elapsed(time, 0),
                                       [this, name](TestTimer&, const Time::Monotonic&) { expired.push_back(name); });
  }
  SimulatedClock clock{seconds(1000)};
  std::vector<int> expired;
};

TEST_F(Timer, ExpiresInOrderOfDeadlinesThenStarts) {
  constexpr std::size_t COUNT = 300;
  std::vector<std::unique_ptr<TestTimer>> timers;
  for (std::size_t i = 0; i < COUNT; ++i) timers.push_back(make(0, static_cast<int>(i)));
  std::map<std::pair<std::int64_t, int>, int> order;  // timers by deadline and start
  std::mt19937 random(1);
  for (int start = 0; start < 3000; ++start) {
    const std::size_t i = random() % COUNT;
    std::erase_if(order, [&](const auto& one) { return one.second == static_cast<int>(i); });
    if (start % 4 == 0) {
      timers[i]->stop();
      continue;
    }
    const std::int64_t time = 1 + random() % 50;
    start % 2 == 0 ? timers[i]->setTime(seconds(time), true) : timers[i]->setTime(seconds(1000 + time), false);
    timers[i]->start();
    order[{time, start}] = static_cast<int>(i);
  }
  clock.advance(Elapsed(60, 0));
  std::vector<int> expected;
  for (const auto& [when, i] : order) expected.push_back(i);
  EXPECT_EQ(expired, expected);
}

TEST_F(Timer, FollowsStartStopAndSetTime) {
  const struct {
    const char* what;
    std::function<void(TestTimer&)> does;
    std::vector<int> at;  // seconds after the first start
  } rows[] = {
      {"nothing more", [](TestTimer&) {}, {60}},
      {"begins anew", [](TestTimer& timer) { timer.start(); }, {90}},
      {"does not move when its time is set", [](TestTimer& timer) { timer.setTime(seconds(5), true); }, {60}},
      {"begins anew with its time", [](TestTimer& timer) { timer.setTime(seconds(5), true), timer.start(); }, {35}},
      {"takes a point in the past", [](TestTimer& timer) { timer.setTime(seconds(5), false), timer.start(); }, {30}},
      {"saturates", [](TestTimer& timer) { timer.setTime(Time::Monotonic::never(), true), timer.start(); }, {}},
      {"stops", [](TestTimer& timer) { timer.stop(), timer.stop(); }, {}},
      {"stops as a task", [](TestTimer& timer) { timer.disable(); }, {}},
      {"is copied without running", [](TestTimer& timer) { EXPECT_FALSE(TestTimer(timer).isRunning()); }, {60}},
      {"starts again after a stop", [](TestTimer& timer) { timer.disable(), timer.enable(); }, {90}},
  };
  for (const auto& row : rows) {
    expired.clear();
    const auto begin = clock.now();
    TestTimer timer(Elapsed(60, 0), [&](TestTimer& self, const Time::Monotonic&) {
      EXPECT_FALSE(self.isRunning());
      expired.push_back(static_cast<int>((clock.now() - begin).getSeconds()));
    });
    timer.start();
    clock.advance(Elapsed(30, 0));
    row.does(timer);
    clock.advance(Elapsed(1000, 0));
    EXPECT_EQ(expired, row.at) << row.what;
  }
}

TEST_F(Timer, MayBeStartedFromItsOwnHookAndOutlivesAnException) {
  const CapturingLogger kept;
  TestTimer timer(Elapsed(3, 0), [&](TestTimer& self, const Time::Monotonic& deadline) {
    EXPECT_EQ(clock.now(), deadline);
    expired.push_back(static_cast<int>(deadline.getElapsed().getSeconds()));
    self.start();
    if (expired.size() == 2) throw std::runtime_error("second");
  });
  timer.start();
  clock.advance(Elapsed(10, 0));
  EXPECT_EQ(expired, (std::vector{1003, 1006, 1009}));
  EXPECT_EQ(kept.get(), std::vector<std::string>{"4 libCore> an exception left a timer: second"});
}

TEST_F(Timer, DoesNotWaitInStopForTheHookButInRetireItDoes) {
  Gate entered;
  Gate release;
  bool inside = false;
  auto timer = std::make_unique<TestTimer>(Elapsed(1, 0), [&](TestTimer& self, const Time::Monotonic&) {
    inside = true;
    entered.open();
    EXPECT_TRUE(release.await());
    self.setTime(clock.now() + Elapsed(1, 0), false);
    self.start();
    inside = false;
  });
  timer->setTime(clock.now(), false);
  timer->start();
  ASSERT_TRUE(entered.await());
  timer->stop();
  EXPECT_EQ(release.count(), 0);
  std::thread opener([&] { release.open(); });
  timer.reset();
  EXPECT_FALSE(inside);
  opener.join();
  clock.advance(Elapsed(1, 0));
  EXPECT_EQ(entered.count(), 1);
}

TEST_F(Timer, MayDestroyAnotherFromItsHook) {
  auto other = make(2, 2);
  other->start();
  TestTimer timer(Elapsed(1, 0), [&](TestTimer&, const Time::Monotonic&) { other.reset(); });
  timer.start();
  clock.advance(Elapsed(5, 0));
  EXPECT_TRUE(expired.empty());
}

TEST(TaskDeathTest, EndsTheProcessWhenATaskOrATimerIsDestroyedFromItsOwnHook) {
  const std::function<void()> rows[] = {
      [] { (new TestTask([](TestTask& self) { delete &self; }))->schedule(); },
      [] { (new TestTimer(Elapsed(), [](TestTimer& self, const Time::Monotonic&) { delete &self; }))->start(); }};
  for (const auto& begin : rows)
    EXPECT_DEATH((begin(), Gate().await()), "<4>.*own hook: the hook has dropped the last reference");
}

TEST(SteadyTimer, IsNotEarlyAndWakesForAnEarlierDeadline) {
  Gate gate;
  TestTimer late(Elapsed(3600, 0));
  TestTimer early(Elapsed::ofMilliseconds(2), [&](TestTimer&, const Time::Monotonic& deadline) {
    EXPECT_GE(Clock::get().now(), deadline);
    gate.open();
  });
  late.start();
  early.start();
  EXPECT_TRUE(gate.await());
  EXPECT_TRUE(late.isRunning());
}

TEST_F(Timer, RunsAHundredThousandOnOneThread) {
  constexpr std::size_t COUNT = 100'000;
  const auto threads = [] { return std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}); };
  make(1, 0)->start();
  const auto threadsBefore = threads();
  std::size_t count = 0;
  std::vector<TestTimer> timers;
  timers.reserve(COUNT);
  for (std::size_t i = 0; i < COUNT; ++i) {
    timers.emplace_back(Elapsed(1 + i * 7919 % 200, 0), [&](TestTimer&, const Time::Monotonic&) { ++count; });
    timers.back().start();
  }
  for (std::size_t i = 0; i < COUNT; i += 4) timers[i].stop();
  EXPECT_LE(threads(), threadsBefore);
  clock.advance(Elapsed(200, 0));
  EXPECT_EQ(count, COUNT - COUNT / 4);
}

}  // namespace
}  // namespace Quarnix::Timer
