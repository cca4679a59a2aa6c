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
  const Monotonic deadline = clock.now() + Elapsed(25, 0);
  const auto poll = [&] {
    pollfd descriptors[2] = {{ends[0], POLLIN, 0}, {}};
    return clock.poll(descriptors, 1, deadline);
  };
  std::thread served([&] { EXPECT_EQ(poll(), 1); });
  clock.awaitWaiters(1);
  char byte = 'x';
  ASSERT_EQ(::write(ends[1], &byte, 1), 1);
  served.join();
  ASSERT_EQ(::read(ends[0], &byte, 1), 1);

  std::thread empty([&] { EXPECT_EQ(poll(), 0); });
  clock.awaitWaiters(1);
  EXPECT_EQ(clock.advance(Elapsed(25, -1)), 0U);
  EXPECT_EQ(clock.advance(Elapsed(0, 1)), 1U);
  empty.join();

  EXPECT_EQ(poll(), 0) << "the deadline is past";
  ASSERT_EQ(::write(ends[1], &byte, 1), 1);
  EXPECT_EQ(poll(), 1) << "past, but with data";
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
  EXPECT_EQ(clock.now(), begin + Elapsed(60, 0));
  EXPECT_THROW(clock.advance(Elapsed(0, -1)), std::invalid_argument);
}

// A hook that waits counts as idle from its notification until its thread runs, so that `settle` returned too early. It
// asks twice, because the second wait looks like the first.
TEST(SimulatedClock, SettlesOnlyWhenANotifiedHookHasRun) {
  SimulatedClock clock;
  Mutex mutex;
  ConditionVariable condition;
  bool answered = false;
  std::atomic<bool> answers{false};
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
    answers = true;
    answering.schedule();
    clock.settle();
    ASSERT_EQ(finished, round);
    answers = false;
  }
}

TEST(SimulatedClock, WakesWhoStillWaitsAtTheEndOfItsLife) {
  Clock& steady = Clock::get();
  auto clock = std::make_unique<SimulatedClock>();
  Clock& installed = Clock::get();
  const Monotonic deadline = clock->now() + Elapsed(1, 0);
  std::thread waiting([&] {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    EXPECT_TRUE(installed.wait(condition, mutex, deadline));
  });
  std::thread polling([&] {
    pollfd none[1];
    EXPECT_TRUE(installed.poll(none, 0, deadline) == -1 && errno == EINTR);
  });
  clock->awaitWaiters(2);
  clock.reset();
  waiting.join();
  polling.join();
  EXPECT_EQ(&Clock::get(), &steady);
}

TEST(SteadyClock, WaitsUntilADeadlineOrForADescriptor) {
  Clock& clock = Clock::get();
  for (const Monotonic& deadline : {Monotonic(Elapsed(-1, 0)), clock.now() + Elapsed::ofMilliseconds(2)}) {
    waitUntil(deadline);
    EXPECT_GE(clock.now(), deadline);
  }
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  pollfd descriptors[2] = {{ends[0], POLLIN, 0}, {}};
  for (const Monotonic& deadline : {Monotonic(Elapsed(-1, 0)), clock.now() + Elapsed::ofMilliseconds(2)}) {
    EXPECT_EQ(clock.poll(descriptors, 1, deadline), 0);
    EXPECT_GE(clock.now(), deadline);
  }
  ASSERT_EQ(::write(ends[1], "x", 1), 1);
  for (const Monotonic& deadline : {Monotonic(), Monotonic::never(), Monotonic(Elapsed(1LL << 33, 0))})
    EXPECT_EQ(clock.poll(descriptors, 1, deadline), 1);
  ::close(ends[0]);
  ::close(ends[1]);
}

}  // namespace
}  // namespace Quarnix::Time
