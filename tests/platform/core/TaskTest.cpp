// Tasks, events and timers: one run at a time, no wake-up lost, in order, and when delivery ends.
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <map>
#include <random>
#include <system_error>

#include <platform/core/Event.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Test {
namespace {

using Time::Elapsed;
using Time::Monotonic;
using Texts = std::vector<std::string>;

struct Simulated {
  Time::SimulatedClock clock{Monotonic(Elapsed(1000, 0))};
  CapturingLogger logger;
  int runs = 0;
};

struct Tasks : InBothPlaces, Simulated {
  void settle() {
    clock.settle();
    while (dispatcher && isReadable(*dispatcher)) dispatcher->dispatch();
  }
  void advance(std::int64_t seconds) {
    const Monotonic end = clock.now() + Elapsed(seconds, 0);
    settle();
    for (; dispatcher && dispatcher->getDeadline() <= end; settle())
      clock.advance(dispatcher->getDeadline() - clock.now());
    clock.advance(end - clock.now());
    settle();
  }
};
HEVRA_IN_BOTH_PLACES(Tasks);

/// The hooks run on other threads than the test's, in either place.
struct Hooks : Tasks {
  ~Hooks() override {
    if (dispatcher) dispatcher->quit();
    runner.join();
  }
  std::thread runner{[this] {
    if (dispatcher) dispatcher->run();
  }};
};
HEVRA_IN_BOTH_PLACES(Hooks);

TEST_P(Hooks, RunOneEntryAtATimeAndLoseNoWakeUp) {
  constexpr int EACH = 3000;
  std::atomic<int> posted{0}, inside{0};
  int taken = 0;
  Gate all;
  TestTask task([&](TestTask&) {
    EXPECT_EQ(inside.fetch_add(1), 0);
    taken += posted.exchange(0);
    if (taken == 3 * EACH) all.open();
    inside.fetch_sub(1);
  });
  const auto post = [&] {
    for (int i = 0; i < EACH; ++i, task.schedule()) posted.fetch_add(1);
  };
  std::thread one(post), two(post);
  post();
  one.join();
  two.join();
  EXPECT_TRUE(all.await());
}

TEST_P(Hooks, AreWaitedForWhenTheTaskIsDisabled) {
  Gate entered, release;
  std::atomic<bool> inside{true};
  TestTask task([&](TestTask&) {
    entered.open();
    EXPECT_TRUE(release.await());
    inside = false;
  });
  task.schedule();
  ASSERT_TRUE(entered.await());
  std::thread opener([&] { release.open(); });
  task.disable();
  EXPECT_FALSE(inside);
  opener.join();
}

TEST_P(Tasks, MayDisableThemselvesAndKeepWhatIsScheduledForEnable) {
  TestTask task([&](TestTask& self) {
    EXPECT_TRUE(self.isOwnThread());
    ++runs;
    self.disable();
    self.schedule();
  });
  EXPECT_FALSE(task.isOwnThread());
  for (int i = 0; i < 2; ++i) {
    task.schedule();
    settle();
  }
  EXPECT_EQ(runs, 1);
  task.enable();
  settle();
  EXPECT_EQ(runs, 2);
}

TEST_P(Tasks, RunOnForWhatIsLeftAfterAnException) {
  TestTask task([&](TestTask&) {
    ++runs;
    if (runs == 1) throw std::runtime_error("first");
    if (runs == 2) throw 2;
  });
  task.schedule();
  settle();
  EXPECT_EQ(runs, 3);
  EXPECT_EQ(logger.get(), (Texts{"4 libCore> an exception left a task: first",
                                 "4 libCore> an exception of an unknown type left a task"}));
}

TEST_P(Tasks, OfEventsReceiveSendsTogetherWithTheirNumber) {
  struct Counting : Event {
    ~Counting() override { retire(); }
    void receive(unsigned long long count) override { counts.push_back(count); }
    std::vector<unsigned long long> counts;
  } event;
  event.send();
  settle();
  event.disable();
  for (int i = 0; i < 3; ++i) event.send();
  event.enable();
  settle();
  EXPECT_EQ(event.counts, (std::vector<unsigned long long>{1, 3}));
}

struct Timers : Tasks {
  std::unique_ptr<TestTimer> make(std::int64_t time, int name) {
    return std::make_unique<TestTimer>(Elapsed(time, 0),
                                       [this, name](TestTimer&, const Monotonic&) { expired.push_back(name); });
  }
  /// A time relative to a start, or a point.
  static void set(TestTimer& timer, std::int64_t seconds, bool isRelative) {
    timer.setTime(Monotonic(Elapsed(seconds, 0)), isRelative);
  }
  std::vector<int> expired;
};
HEVRA_IN_BOTH_PLACES(Timers);

TEST_P(Timers, ExpireInOrderOfDeadlinesThenStarts) {
  std::vector<std::unique_ptr<TestTimer>> timers;
  for (int i = 0; i < 300; ++i) timers.push_back(make(0, i));
  std::map<std::pair<std::int64_t, int>, int> order;  // timers by deadline and start
  std::mt19937 random(1);
  for (int start = 0; start < 3000; ++start) {
    const auto i = static_cast<int>(random() % timers.size());
    TestTimer& timer = *timers[static_cast<std::size_t>(i)];
    std::erase_if(order, [i](const auto& one) { return one.second == i; });
    if (start % 4 == 0) {
      timer.stop();
      continue;
    }
    const std::int64_t seconds = 1 + random() % 50;
    start % 2 == 0 ? set(timer, seconds, true) : set(timer, 1000 + seconds, false);
    timer.start();
    order[{seconds, start}] = i;
  }
  advance(60);
  std::vector<int> expected;
  for (const auto& [when, i] : order) expected.push_back(i);
  EXPECT_EQ(expired, expected);
}

TEST_P(Timers, FollowStartStopAndSetTime) {
  const struct {
    const char* what;
    std::function<void(TestTimer&)> does;
    std::vector<int> at;  // seconds after the first start
  } rows[] = {
      {"begins anew", [](TestTimer& timer) { timer.start(); }, {90}},
      {"does not move when its time is set", [](TestTimer& timer) { set(timer, 5, true); }, {60}},
      {"begins anew with its time", [](TestTimer& timer) { set(timer, 5, true), timer.start(); }, {35}},
      {"takes a point in the past", [](TestTimer& timer) { set(timer, 5, false), timer.start(); }, {30}},
      {"saturates", [](TestTimer& timer) { timer.setTime(Monotonic::never(), true), timer.start(); }, {}},
      {"stops", [](TestTimer& timer) { timer.stop(), timer.stop(); }, {}},
      {"stops as a task", [](TestTimer& timer) { timer.disable(); }, {}},
      {"is copied without running", [](TestTimer& timer) { EXPECT_FALSE(TestTimer(timer).isRunning()); }, {60}},
      {"starts again after a stop", [](TestTimer& timer) { timer.disable(), timer.enable(); }, {90}},
  };
  for (const auto& row : rows) {
    expired.clear();
    const auto begin = clock.now();
    TestTimer timer(Elapsed(60, 0), [&](TestTimer& self, const Monotonic&) {
      EXPECT_FALSE(self.isRunning());
      expired.push_back(static_cast<int>((clock.now() - begin).getSeconds()));
    });
    timer.start();
    advance(30);
    row.does(timer);
    advance(1000);
    EXPECT_EQ(expired, row.at) << row.what;
  }
}

TEST_P(Timers, MayBeStartedAndDestroyedFromHooksAndOutliveAnException) {
  auto other = make(4, 4);
  other->start();
  TestTimer timer(Elapsed(3, 0), [&](TestTimer& self, const Monotonic& deadline) {
    EXPECT_EQ(clock.now(), deadline);
    expired.push_back(static_cast<int>(deadline.getElapsed().getSeconds()));
    self.start();
    other.reset();
    if (expired.size() == 2) throw std::runtime_error("second");
  });
  timer.start();
  advance(10);
  EXPECT_EQ(expired, (std::vector{1003, 1006, 1009}));
  EXPECT_EQ(logger.get(), Texts{"4 libCore> an exception left a timer: second"});
}

TEST_P(Hooks, OfTimersAreWaitedForInRetireAndNotInStop) {
  Gate entered, release;
  bool inside = false;
  auto timer = std::make_unique<TestTimer>(Elapsed(), [&](TestTimer& self, const Monotonic&) {
    inside = true;
    entered.open();
    EXPECT_TRUE(release.await());
    self.setTime(Monotonic(Elapsed(1, 0)), true);  // so that the hook cannot run again before the clock moves
    self.start();
    inside = false;
  });
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

struct Threads : testing::Test, Simulated {};

TEST_F(Threads, HaveTheStackAskedForAndNoSignals) {
  TestTask task([&](TestTask&) {
    pthread_attr_t attributes;
    std::size_t stack = 0;
    ASSERT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
    pthread_attr_getstacksize(&attributes, &stack);
    pthread_attr_destroy(&attributes);
    EXPECT_GE(stack, 3'000'001U + 64 * 1024);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_TRUE(sigismember(&blocked, SIGTERM) && !sigismember(&blocked, SIGSEGV));
    ++runs;
  });
  task.setStackSize(3'000'001U);
  task.schedule();
  clock.settle();
  EXPECT_EQ(runs, 1);
}

TEST_F(Threads, AreTriedAgainWhenNoneCanBeMade) {
  if (sizeof(void*) < 8) GTEST_SKIP() << "an emulator knows no limit of the address space";
  TestTask task([&](TestTask&) { ++runs; });
  auto gone = std::make_unique<TestTask>(task);
  rlimit former;
  ASSERT_EQ(getrlimit(RLIMIT_AS, &former), 0);
  rlim_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const rlimit tight{pages * static_cast<rlim_t>(getpagesize()) + (512UL << 20), former.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
  for (TestTask* one : {&task, gone.get()}) {
    one->setStackSize(1U << 30);
    one->schedule();
    one->schedule();
  }
  EXPECT_THROW(task.prepare(), std::system_error);
  clock.advance(Elapsed(1, 0));
  gone.reset();
  ASSERT_EQ(setrlimit(RLIMIT_AS, &former), 0);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(logger.count(), 2U);
  clock.advance(Elapsed(1, 0));
  EXPECT_EQ(runs, 1);
}

struct TaskDeathTest : testing::TestWithParam<bool> {};
HEVRA_IN_BOTH_PLACES(TaskDeathTest);

TEST_P(TaskDeathTest, EndsTheProcessWhenATaskOrATimerIsDestroyedFromItsOwnHook) {
  const std::function<void()> rows[] = {
      [] { (new TestTask([](TestTask& self) { delete &self; }))->schedule(); },
      [] { (new TestTimer(Elapsed(), [](TestTimer& self, const Monotonic&) { delete &self; }))->start(); }};
  for (const auto& begin : rows) {
    const auto die = [&] {
      Dispatcher dispatcher;  // of the process that dies
      if (GetParam()) Dispatcher::setDefault(&dispatcher);
      begin();
      GetParam() ? dispatcher.run() : void(Gate().await());
    };
    EXPECT_DEATH(die(), "<4>.*own hook: the hook has dropped the last reference");
  }
}

}  // namespace
}  // namespace Quarnix::Test
