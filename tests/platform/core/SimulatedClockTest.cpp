// The simulated clock: time that moves on command, for timers, threads and sockets alike.
#include <atomic>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <thread>

#include <unistd.h>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Time {
namespace {

using Test::TestTask;
using Test::TestTimer;

/// Waits on a condition of its own until `deadline`; its mutex is gone as soon as the wait is over.
void waitUntil(const Monotonic& deadline) {
  Mutex mutex;
  ConditionVariable condition;
  MutexLock lock(mutex);
  while (Clock::get().wait(condition, mutex, deadline)) {
  }
}

TEST(SimulatedClock, StepsThroughEveryDeadlineWithinASpan) {
  SimulatedClock clock(Monotonic(Elapsed(1, 0)));
  std::vector<std::int64_t> times;
  TestTimer timer(Elapsed(3, 0), [&](TestTimer& self, const Monotonic&) {
    times.push_back(clock.now().getElapsed().getSeconds());
    self.start();
  });
  timer.start();
  EXPECT_EQ(clock.advance(Elapsed(10, 0)), 0U);
  EXPECT_EQ(times, (std::vector<std::int64_t>{4, 7, 10}));
  EXPECT_EQ(clock.now(), Monotonic(Elapsed(11, 0)));
  EXPECT_THROW(clock.advance(Elapsed(0, -1)), std::invalid_argument);
}

TEST(SimulatedClock, WakesAThreadAtItsDeadlineAndNotBefore) {
  SimulatedClock clock;
  const Monotonic deadline = clock.now() + Elapsed(60, 0);
  Monotonic woken;
  std::thread thread([&] {
    waitUntil(deadline);
    woken = clock.now();
  });
  clock.awaitWaiters(1);
  EXPECT_EQ(clock.advance(Elapsed(60, -1)), 0U);
  EXPECT_EQ(clock.advance(Elapsed(0, 1)), 1U);
  thread.join();
  EXPECT_EQ(woken, deadline);
}

TEST(SimulatedClock, LosesNoWakeUpOfManyThreads) {
  constexpr int THREADS = 8;
  SimulatedClock clock;
  std::atomic<int> done{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < THREADS; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 200; ++round) waitUntil(clock.now() + Elapsed(0, 1 + (i + round) % 3));
      done.fetch_add(1);
    });
  }
  while (done != THREADS) clock.advance(Elapsed(0, 1));
  for (auto& thread : threads) thread.join();
}

TEST(SimulatedClock, IsFollowedByPoll) {
  SimulatedClock clock;
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  int ready = -2;
  const auto pollFor = [&](const Elapsed& span) {
    return std::thread([&, deadline = clock.now() + span] {
      pollfd descriptors[2] = {{ends[0], POLLIN, 0}, {}};
      ready = clock.poll(descriptors, 1, deadline);
    });
  };

  std::thread empty = pollFor(Elapsed(25, 0));
  clock.awaitWaiters(1);
  EXPECT_EQ(clock.advance(Elapsed(24, 0)), 0U);
  EXPECT_EQ(clock.advance(Elapsed(1, 0)), 1U);
  empty.join();
  EXPECT_EQ(ready, 0);

  std::thread past = pollFor(Elapsed(-1, 0));
  past.join();
  EXPECT_EQ(ready, 0);

  std::thread served = pollFor(Elapsed(25, 0));
  clock.awaitWaiters(1);
  ASSERT_EQ(::write(ends[1], "x", 1), 1);
  served.join();
  EXPECT_EQ(ready, 1);

  std::thread pastWithData = pollFor(Elapsed());
  pastWithData.join();
  EXPECT_EQ(ready, 1);
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(SimulatedClock, PassesOverAHookThatWaitsForItsTime) {
  SimulatedClock clock;
  std::vector<std::int64_t> times;
  const Monotonic begin = clock.now();
  TestTask task([&](TestTask&) {
    waitUntil(begin + Elapsed(25, 0));
    times.push_back((clock.now() - begin).getSeconds());
  });
  TestTimer timer(Elapsed(10, 0), [&](TestTimer&, const Monotonic& at) { times.push_back((at - begin).getSeconds()); });
  timer.start();
  task.schedule();
  EXPECT_EQ(clock.advance(Elapsed(60, 0)), 1U);
  EXPECT_EQ(times, (std::vector<std::int64_t>{10, 25}));
}

// A hook that waits counts as idle from its notification until its thread runs, so that `settle` returned too early. It
// asks twice, because the second wait looks like the first.
TEST(SimulatedClock, SettlesOnlyWhenANotifiedHookHasRun) {
  SimulatedClock clock;
  Mutex mutex;
  ConditionVariable condition;
  bool answered = false;
  bool answers = false;
  std::atomic<int> finished{0};
  TestTask answering([&](TestTask&) {
    MutexLock lock(mutex);
    answered = answers;
    condition.notifyAll();
  });
  TestTask asking([&](TestTask&) {
    for (int time = 0; time < 2; ++time) {
      answering.schedule();
      MutexLock lock(mutex);
      while (!answered) clock.wait(condition, mutex, clock.now() + Elapsed(25, 0));
      answered = false;
    }
    finished.fetch_add(1);
  });
  for (int round = 1; round <= 200; ++round) {
    asking.schedule();
    clock.settle();
    ASSERT_EQ(finished, round - 1);
    MutexLock lock(mutex);
    answers = true;
    lock.unlock();
    answering.schedule();
    clock.settle();
    ASSERT_EQ(finished, round);
    lock.lock();
    answers = false;
  }
}

TEST(SimulatedClock, WakesWhoStillWaitsAtTheEndOfItsLife) {
  Clock& steady = Clock::get();
  auto clock = std::make_unique<SimulatedClock>();
  Clock& installed = Clock::get();
  EXPECT_EQ(&installed, clock.get());
  bool early = false;
  int polled = 0;
  int error = 0;
  std::thread waiting([&] {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    early = installed.wait(condition, mutex, installed.now() + Elapsed(1, 0));
  });
  std::thread polling([&] {
    pollfd none[1];
    polled = installed.poll(none, 0, installed.now() + Elapsed(1, 0));
    error = errno;
  });
  clock->awaitWaiters(2);
  clock.reset();
  waiting.join();
  polling.join();
  EXPECT_TRUE(early);
  EXPECT_EQ(polled, -1);
  EXPECT_EQ(error, EINTR);
  EXPECT_EQ(&Clock::get(), &steady);
}

TEST(SteadyClock, TellsWhetherADeadlineWasReached) {
  Clock& clock = Clock::get();
  Mutex mutex;
  ConditionVariable condition;
  const struct {
    const char* what;
    Monotonic deadline;
  } rows[] = {
      {"long past", Monotonic(Elapsed(-1, 0))},
      {"now", clock.now()},
      {"in a moment", clock.now() + Elapsed::ofMilliseconds(2)},
  };
  for (const auto& row : rows) {
    MutexLock lock(mutex);
    while (clock.wait(condition, mutex, row.deadline)) {
    }
    EXPECT_GE(clock.now(), row.deadline) << row.what;
    pollfd none[1];
    EXPECT_EQ(clock.poll(none, 0, row.deadline), 0) << row.what;
  }
}

TEST(SteadyClock, EndsAPollOfAnyDeadlineWhenADescriptorIsReady) {
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  ASSERT_EQ(::write(ends[1], "x", 1), 1);
  for (const Monotonic& deadline : {Monotonic(), Monotonic::never(), Monotonic(Elapsed(1LL << 33, 0))}) {
    pollfd descriptors[2] = {{ends[0], POLLIN, 0}, {}};
    EXPECT_EQ(Clock::get().poll(descriptors, 1, deadline), 1);
    EXPECT_EQ(descriptors[0].revents, POLLIN);
  }
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace Quarnix::Time
