// Spans of time, and the clocks: time that moves on command, for timers, threads and sockets alike, and the real one.
#include <unistd.h>

#include <cerrno>
#include <limits>

#include <tests/platform/core/Support.h>

namespace Quarnix::Time {
namespace {

TEST(Elapsed, KeepsNanosecondsAndSaturates) {
  constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
  constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
  const std::pair<Elapsed, std::int64_t> rows[] = {
      {Elapsed(1, -1), 999'999'999},
      {Elapsed(MOST / 10, 0), MOST},
      {Elapsed(LEAST / 10, 0), LEAST},
      {Elapsed(0xFFFFFFFFLL + 30, 0), 4'294'967'325'000'000'000},
      {Elapsed(MOST / 1'000'000'000, 999'999'999), MOST},
      {Elapsed(0, LEAST) + Elapsed(0, -1), LEAST},
      {Elapsed::ofMilliseconds(MOST), MOST},
  };
  for (const auto& [span, nanoseconds] : rows) EXPECT_EQ(span.getNanoseconds(), nanoseconds);
  EXPECT_EQ(Elapsed(0, -1'999'999'999).getSeconds(), -1) << "rounded towards zero";
}

/// Waits on a condition of its own until `deadline`; its mutex is gone as soon as the wait is over.
void waitUntil(const Monotonic& deadline) {
  Mutex mutex;
  ConditionVariable condition;
  MutexLock lock(mutex);
  while (Clock::get().wait(condition, mutex, deadline)) {
  }
}

/// A pipe, with something in it or not.
struct Pipe {
  Pipe() { EXPECT_EQ(::pipe(ends), 0); }
  ~Pipe() { ::close(ends[0]), ::close(ends[1]); }
  void write() const { EXPECT_EQ(::write(ends[1], "x", 1), 1); }
  int poll(const Monotonic& deadline) const {
    pollfd descriptors[2] = {{ends[0], POLLIN, 0}, {}};
    return Clock::get().poll(descriptors, 1, deadline);
  }
  int ends[2];
};

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
  const Pipe served, empty;
  const Monotonic deadline = clock.now() + Elapsed(25, 0);
  std::thread one([&] { EXPECT_EQ(served.poll(deadline), 1); }), two([&] { EXPECT_EQ(empty.poll(deadline), 0); });
  clock.awaitWaiters(2);
  served.write();
  one.join();
  EXPECT_EQ(clock.advance(Elapsed(25, 0)), 1U);
  two.join();
  EXPECT_EQ(empty.poll(deadline), 0) << "the deadline is past";
  EXPECT_EQ(served.poll(deadline), 1) << "past, but with data";
  EXPECT_THROW(clock.advance(Elapsed(0, -1)), std::invalid_argument);
}

TEST(SimulatedClock, WakesWhoStillWaitsAtTheEndOfItsLife) {
  Clock& steady = Clock::get();
  auto clock = std::make_unique<SimulatedClock>();
  const Monotonic deadline = clock->now() + Elapsed(1, 0);
  std::thread waiting([&, &installed = *clock] {
    Mutex mutex;
    ConditionVariable condition;
    MutexLock lock(mutex);
    EXPECT_TRUE(installed.wait(condition, mutex, deadline));
  });
  std::thread polling([&] { EXPECT_TRUE(Pipe().poll(deadline) == -1 && errno == EINTR); });
  clock->awaitWaiters(2);
  clock.reset();
  waiting.join();
  polling.join();
  EXPECT_EQ(&Clock::get(), &steady);
}

TEST(SteadyClock, WaitsUntilADeadlineOrForADescriptor) {
  Clock& clock = Clock::get();
  const Pipe pipe;
  for (const Monotonic& deadline : {Monotonic(Elapsed(-1, 0)), clock.now() + Elapsed::ofMilliseconds(2)}) {
    waitUntil(deadline);
    EXPECT_GE(clock.now(), deadline);
    const Monotonic next = deadline + Elapsed::ofMilliseconds(2);
    EXPECT_EQ(pipe.poll(next), 0);
    EXPECT_GE(clock.now(), next);
  }
  pipe.write();
  for (const Monotonic& deadline : {Monotonic(), Monotonic::never(), Monotonic(Elapsed(1LL << 33, 0))})
    EXPECT_EQ(pipe.poll(deadline), 1);
}

}  // namespace
}  // namespace Quarnix::Time
