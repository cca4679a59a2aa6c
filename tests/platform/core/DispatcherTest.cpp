// The dispatcher: what it runs, in which order, on which thread, and when its descriptor is readable.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include <platform/core/DescriptorWatch.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Test {
namespace {

using Time::Elapsed;
using Time::Monotonic;
using Texts = std::vector<std::string>;

/// Has something to read.
struct Pipe {
  Pipe() { EXPECT_TRUE(::pipe(ends) == 0 && ::write(ends[1], "x", 1) == 1); }
  ~Pipe() { ::close(ends[0]), ::close(ends[1]); }
  int ends[2] = {};
};

struct TestWatch : private Pipe, DescriptorWatch {
  using Body = std::function<void(TestWatch&)>;
  explicit TestWatch(Dispatcher& dispatcher, Body act)
      : DescriptorWatch(dispatcher, ends[0], POLLIN), body(std::move(act)) {}
  ~TestWatch() override { retire(); }
  using DescriptorWatch::retire;
  using Pipe::ends;
  void ready(short events) override {
    EXPECT_EQ(events, POLLIN);
    body(*this);
  }
  Body body;
};

std::string messageOf(const std::function<void()>& act) {
  try {
    act();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "none";
}

/// Time stands still, and everything is on one dispatcher.
struct Dispatched : testing::Test {
  Dispatched() { Dispatcher::setDefault(&dispatcher); }
  Time::SimulatedClock clock{Monotonic(Elapsed(1000, 0))};
  CapturingLogger logger;
  Dispatcher dispatcher;
};

TEST_F(Dispatched, HooksRunOnTheDispatchingThreadWithoutAnother) {
  const auto threads = [] {
    const std::filesystem::directory_iterator all("/proc/self/task");
    return std::distance(begin(all), end(all));
  };
  const auto before = threads();
  std::vector<std::thread::id> ran;
  const auto note = [&](auto&&...) { ran.push_back(std::this_thread::get_id()); };
  TestTask task(note);
  TestTimer timer(Elapsed(), note);
  TestWatch watch(dispatcher, note);
  task.schedule();
  task.prepare();
  timer.start();
  dispatcher.dispatch();
  EXPECT_TRUE(task.isDispatched());
  EXPECT_EQ(ran, std::vector(3, std::this_thread::get_id()));
  EXPECT_EQ(threads(), before);
}

TEST_F(Dispatched, WhatComesUpMeanwhileIsForTheNextTime) {
  Texts ran;
  TestTimer early(Elapsed(), [&](TestTimer&, auto&) { ran.push_back("early timer"); });
  early.setTime(Monotonic(), false);
  TestTask task([&](TestTask& self) {
    ran.push_back("task");
    self.schedule();
  });
  TestTimer again(Elapsed(), [&](TestTimer& self, auto&) {
    ran.push_back("timer");
    self.start();
    early.start();
  });
  TestTimer last(Elapsed(), [&](TestTimer&, auto&) { ran.push_back("last timer"); });
  TestWatch watch(dispatcher, [&](TestWatch&) {
    ran.push_back("watch");
    throw std::runtime_error("unread");
  });
  task.schedule();
  again.start();
  last.start();
  dispatcher.dispatch();
  EXPECT_EQ(ran, (Texts{"watch", "timer", "last timer", "task"}));
  ran.clear();
  dispatcher.dispatch();
  EXPECT_EQ(ran, (Texts{"watch", "early timer", "timer", "task"}));
  EXPECT_EQ(logger.get(), Texts(2, "4 libCore> an exception left a descriptor's watch: unread"));
}

TEST_F(Dispatched, TheDescriptorIsReadableExactlyWhileSomethingIsDue) {
  const auto expect = [&](bool isDue, const char* when) { EXPECT_EQ(isReadable(dispatcher), isDue) << when; };
  TestTimer timer(Elapsed(5, 0)), later(Elapsed(9, 0));
  int runs = 0;
  TestTask task([&](TestTask& self) {
    if (++runs == 1) self.schedule();
  });
  expect(false, "at first");
  EXPECT_TRUE(dispatcher.getDeadline().isNever());
  later.start();
  timer.start();
  expect(false, "before the deadline");
  EXPECT_EQ(dispatcher.getDeadline(), clock.now() + Elapsed(5, 0));
  clock.advance(Elapsed(5, 0));
  expect(true, "at the deadline");
  dispatcher.dispatch();
  expect(false, "after the timer");
  clock.advance(Elapsed(1, 0));
  expect(false, "between two deadlines");
  std::thread([&] { task.schedule(); }).join();
  expect(true, "with a task");
  dispatcher.dispatch();
  expect(true, "with a task that has scheduled itself");
  dispatcher.dispatch();
  expect(false, "after the task");
  EXPECT_EQ(runs, 2);
}

TEST_F(Dispatched, HooksMayDestroyWhateverElseIsReadyOrDue) {
  struct All {
    std::vector<std::unique_ptr<TestWatch>> watches;
    std::vector<std::unique_ptr<TestTimer>> timers;
    std::vector<std::unique_ptr<TestTask>> tasks;
  } all;
  std::unique_ptr<TestWatch> late;  // watched where another was, whose event is at hand
  int runs = 0;
  const auto destroyOthers = [&](auto& self, auto&&...) {
    ++runs;
    const auto isOther = [&](const auto& one) { return static_cast<const void*>(one.get()) != &self; };
    std::erase_if(all.watches, isOther);
    std::erase_if(all.timers, isOther);
    std::erase_if(all.tasks, isOther);
    late = std::make_unique<TestWatch>(dispatcher, [&](TestWatch&) { runs += 100; });
  };
  for (const int first : {0, 1, 2}) {  // the first hook is a watch's, a timer's, a task's
    all = {};
    late.reset();
    for (int i = 0; i < 3; ++i) {
      if (first == 0) all.watches.push_back(std::make_unique<TestWatch>(dispatcher, destroyOthers));
      if (first <= 1) all.timers.push_back(std::make_unique<TestTimer>(Elapsed(), destroyOthers));
      all.tasks.push_back(std::make_unique<TestTask>(destroyOthers));
    }
    for (const auto& timer : all.timers) timer->start();
    for (const auto& task : all.tasks) task->schedule();
    runs = 0;
    dispatcher.dispatch();
    EXPECT_EQ(runs, 1) << first;
  }
}

TEST_F(Dispatched, OneThreadDispatchesAndNoneWithinAHookOrInAChild) {
  Texts refusals;
  const auto refused = [&] { refusals.push_back(messageOf([&] { dispatcher.dispatch(); })); };
  TestTask task([&](TestTask&) {
    refused();
    std::thread(refused).join();
    Dispatcher other;  // may be dispatched anywhere
    other.dispatch();
  });
  task.schedule();
  dispatcher.dispatch();
  int runs = 0;
  const auto count = [&](auto&&...) { ++runs; };
  std::optional<TestTask> ready(std::in_place, count);
  std::optional<TestTimer> due(std::in_place, Elapsed(), count);
  std::optional<TestWatch> watch(std::in_place, dispatcher, count);
  ready->schedule();
  due->start();
  const pid_t child = ::fork();
  if (child == 0) {
    EXPECT_THROW(dispatcher.dispatch(), std::logic_error);
    EXPECT_FALSE(TestTask(count).isDispatched()) << "the default is the parent's";
    EXPECT_THROW(task.prepare(), std::system_error);
    EXPECT_THROW(due->start(), std::system_error);
    task.schedule();
    ready.reset();
    due.reset();
    watch.reset();
    ::_exit(HasFailure());
  }
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  dispatcher.dispatch();
  EXPECT_EQ(runs, 3) << "the child has changed nothing";
  EXPECT_EQ(refusals, (Texts{"A dispatcher dispatches within one of its hooks, expected after it",
                             "A dispatcher dispatches while another thread does, expected one thread at a time"}));
}

TEST_F(Dispatched, RunReturnsWhenItIsToQuit) {
  dispatcher.quit();
  dispatcher.run();
  TestTask task([&](TestTask&) { dispatcher.quit(); });
  task.schedule();
  dispatcher.run();
  TestTimer timer(Elapsed(5, 0), [&](TestTimer&, auto&) { dispatcher.quit(); });
  timer.start();
  std::thread running([&] { dispatcher.run(); });
  clock.awaitWaiters(1);
  clock.advance(Elapsed(5, 0));
  running.join();
  EXPECT_FALSE(timer.isRunning());
}

TEST_F(Dispatched, ADispatcherIsGivenBeforeTheFirstUseAndMayGoFirst) {
  auto own = std::make_unique<Dispatcher>();
  int runs = 0;
  TestTask task([&](TestTask&) { ++runs; });
  TestTimer timer(Elapsed(), [&](TestTimer&, auto&) { ++runs; });
  TestWatch watch(*own, [&](TestWatch&) { ++runs; });
  task.setDispatcher(*own);
  timer.setDispatcher(*own);
  const auto start = [&] {
    task.schedule();
    timer.start();
  };
  start();
  EXPECT_EQ(messageOf([&] { task.setDispatcher(dispatcher); }),
            "A task is given a dispatcher after its first use, expected before");
  dispatcher.dispatch();
  EXPECT_EQ(runs, 0);
  own->dispatch();
  EXPECT_EQ(runs, 3);
  start();
  own.reset();
  start();
  EXPECT_EQ(runs, 3);
  Dispatcher::setDefault(nullptr);
  TestTask other([](TestTask&) {});
  EXPECT_FALSE(other.isDispatched());
}

TEST_F(Dispatched, AWatchLastsUntilItIsRetired) {
  struct Other : DescriptorWatch {
    using DescriptorWatch::DescriptorWatch;
    void ready(short) override {}
  };
  int runs = 0;
  TestWatch watch(dispatcher, [&](TestWatch& self) {
    if (++runs == 2) self.retire();
  });
  for (const int descriptor : {watch.ends[0], -1, ::fileno(std::tmpfile())})
    EXPECT_THROW(Other(dispatcher, descriptor, POLLIN), std::system_error);
  while (isReadable(dispatcher)) dispatcher.dispatch();
  EXPECT_EQ(runs, 2);
  EXPECT_NO_THROW(Other(dispatcher, watch.ends[0], POLLIN));
}

TEST_F(Dispatched, AnotherThreadThatRetiresAWatchWaitsForItsHook) {
  Gate entered, release;
  std::atomic<bool> isInside{false};
  TestWatch watch(dispatcher, [&](TestWatch&) {
    isInside = true;
    entered.open();
    EXPECT_TRUE(release.await());
    isInside = false;
    dispatcher.quit();
  });
  std::thread running([&] { dispatcher.run(); });
  EXPECT_TRUE(entered.await());
  std::thread opener([&] { release.open(); });
  watch.retire();
  EXPECT_FALSE(isInside);
  opener.join();
  running.join();
}

TEST(Dispatcher, FollowsTheSystemsClock) {
  Dispatcher dispatcher;
  bool isOver = false;
  TestTimer timer(Elapsed::ofMilliseconds(2), [&](TestTimer&, auto& deadline) {
    EXPECT_GE(Time::Clock::get().now(), deadline);
    isOver = true;
  });
  TestTimer later(Elapsed(3600, 0));
  for (TestTimer* one : {&later, &timer}) one->setDispatcher(dispatcher);
  later.start();
  std::thread other([&] { timer.start(); });
  EXPECT_TRUE(dispatchUntil(dispatcher, [&] { return isOver; }));
  other.join();
  EXPECT_FALSE(isReadable(dispatcher));
}

}  // namespace
}  // namespace Quarnix::Test
