// Tasks and events: one run at a time, no wake-up lost, and when delivery ends.
#include <atomic>
#include <csignal>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <pthread.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <platform/core/Event.h>
#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/core/Support.h>

namespace Quarnix {
namespace {

using Test::CapturingLogger;
using Test::Gate;
using Test::TestTask;
using Time::Elapsed;
using Time::SimulatedClock;

TEST(Task, RunsOneEntryAtATimeAndLosesNoWakeUp) {
  constexpr int EACH = 3000;
  std::atomic<int> posted{0};
  std::atomic<int> inside{0};
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

TEST(Task, WaitsForTheBodyWhenDisabledOrDestroyed) {
  for (const bool isDestroyed : {false, true}) {
    Gate entered, release;
    std::atomic<bool> inside{false};
    auto task = std::make_unique<TestTask>([&](TestTask&) {
      inside = true;
      entered.open();
      EXPECT_TRUE(release.await());
      inside = false;
    });
    task->schedule();
    ASSERT_TRUE(entered.await());
    std::thread opener([&] { release.open(); });
    isDestroyed ? task.reset() : task->disable();
    EXPECT_FALSE(inside) << isDestroyed;
    opener.join();
  }
}

TEST(Task, MayDisableItselfAndKeepsWhatIsScheduledForEnable) {
  SimulatedClock clock;
  std::atomic<int> runs{0};
  TestTask task([&](TestTask& self) {
    EXPECT_TRUE(self.isOwnThread());
    runs.fetch_add(1);
    self.disable();
    self.schedule();
  });
  task.schedule();
  clock.settle();
  EXPECT_FALSE(task.isOwnThread());
  task.schedule();
  clock.settle();
  EXPECT_EQ(runs, 1);
  task.enable();
  clock.settle();
  EXPECT_EQ(runs, 2);
}

TEST(Task, RunsOnForWhatIsLeftAfterAnException) {
  SimulatedClock clock;
  const CapturingLogger kept;
  int runs = 0;
  TestTask task([&](TestTask&) {
    ++runs;
    if (runs == 1) throw std::runtime_error("first");
    if (runs == 2) throw 2;
  });
  task.schedule();
  clock.settle();
  EXPECT_EQ(runs, 3);
  EXPECT_EQ(kept.get(), (std::vector<std::string>{"4 libCore> an exception left a task: first",
                                                  "4 libCore> an exception of an unknown type left a task"}));
}

TEST(Task, GivesItsThreadTheStackAskedForAndNoSignals) {
  SimulatedClock clock;
  for (const unsigned int bytes : {0U, 4U * static_cast<unsigned int>(getpagesize()), 3'000'001U}) {
    std::size_t stack = 0;
    sigset_t blocked;
    TestTask task([&](TestTask&) {
      pthread_attr_t attributes;
      ASSERT_EQ(pthread_getattr_np(pthread_self(), &attributes), 0);
      void* base = nullptr;
      pthread_attr_getstack(&attributes, &base, &stack);
      pthread_attr_destroy(&attributes);
      pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    });
    task.setStackSize(bytes);
    task.schedule();
    clock.settle();
    EXPECT_GE(stack, bytes + 64 * 1024);
    EXPECT_EQ(sigismember(&blocked, SIGTERM), 1);
    EXPECT_EQ(sigismember(&blocked, SIGSEGV), 0);
  }
}

TEST(Task, TriesAgainWhenNoThreadCanBeMade) {
  SimulatedClock clock;
  const CapturingLogger kept;
  int runs = 0;
  TestTask task([&](TestTask&) { ++runs; });
  auto gone = std::make_unique<TestTask>(task);
  rlimit former;
  ASSERT_EQ(getrlimit(RLIMIT_AS, &former), 0);
  unsigned long pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  rlimit tight = former;
  tight.rlim_cur = pages * static_cast<unsigned long>(getpagesize()) + 512UL * 1024 * 1024;
  ASSERT_EQ(setrlimit(RLIMIT_AS, &tight), 0);
  // An emulator knows no such limit, but 32 bits have an end.
  constexpr std::size_t BLOCK = 512UL * 1024 * 1024;
  std::vector<void*> taken;
  while (sizeof(void*) < 8) {
    void* const block = ::mmap(nullptr, BLOCK, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (block == MAP_FAILED) break;
    taken.push_back(block);
  }
  for (TestTask* one : {&task, gone.get()}) {
    one->setStackSize(1024U * 1024 * 1024);
    one->schedule();
    one->schedule();
  }
  EXPECT_THROW(task.prepare(), std::system_error);
  clock.advance(Elapsed(1, 0));
  gone.reset();
  ASSERT_EQ(setrlimit(RLIMIT_AS, &former), 0);
  for (void* block : taken) ::munmap(block, BLOCK);
  EXPECT_EQ(runs, 0);
  EXPECT_EQ(kept.get().size(), 2U);
  clock.advance(Elapsed(1, 0));
  EXPECT_EQ(runs, 1);
}

TEST(Event, DeliversSendsTogetherWithTheirNumber) {
  struct Counting : Event {
    ~Counting() override { retire(); }
    void receive(unsigned long long count) override { counts.push_back(count); }
    std::vector<unsigned long long> counts;
  };
  SimulatedClock clock;
  Counting event;
  event.send();
  clock.settle();
  event.disable();
  for (int i = 0; i < 3; ++i) event.send();
  event.enable();
  clock.settle();
  EXPECT_EQ(event.counts, (std::vector<unsigned long long>{1, 3}));
}

}  // namespace
}  // namespace Quarnix
