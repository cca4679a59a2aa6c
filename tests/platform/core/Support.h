// What the tests of the core share: a task and a timer with a body given by the test, and the two places where they
// run.
#pragma once

#include <poll.h>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

#include <platform/core/Dispatcher.h>
#include <platform/core/Task.h>
#include <platform/core/time/SimulatedClock.h>
#include <platform/core/timer/Monotonic.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Test {

using Harness::CapturingLogger;
using Harness::Gate;

struct TestTask : Task {
  explicit TestTask(std::function<void(TestTask&)> act) : body(std::move(act)) {}
  ~TestTask() override { retire(); }
  using Task::isDispatched;
  using Task::isOwnThread;
  using Task::prepare;
  using Task::schedule;
  void entry() override { body(*this); }
  std::function<void(TestTask&)> body;
};

struct TestTimer : Timer::Monotonic {
  using Body = std::function<void(TestTimer&, const Time::Monotonic&)>;
  explicit TestTimer(const Time::Elapsed& time, Body act = {})
      : Timer::Monotonic(Time::Monotonic(time), true), body(std::move(act)) {}
  TestTimer(const TestTimer&) = default;
  ~TestTimer() override { retire(); }
  void expired(const Time::Monotonic& deadline) override {
    if (body) body(*this, deadline);
  }
  Body body;
};

inline bool isReadable(const Dispatcher& dispatcher, int milliseconds = 0) {
  pollfd descriptor{dispatcher.getDescriptor(), POLLIN, 0};
  return ::poll(&descriptor, 1, milliseconds) == 1;
}

/// Waits on the descriptor and dispatches, as an application does, until the condition is true; false at the deadline.
template <class Condition>
bool dispatchUntil(Dispatcher& dispatcher, const Condition& isTrue) {
  while (!isTrue()) {
    if (!isReadable(dispatcher, std::chrono::milliseconds(Harness::FAILURE_DEADLINE).count())) return false;
    dispatcher.dispatch();
  }
  return true;
}

/// Tasks and timers that are given no dispatcher run on threads, or on a default dispatcher.
struct InBothPlaces : testing::TestWithParam<bool> {
  InBothPlaces() {
    if (GetParam()) Dispatcher::setDefault(&dispatcher.emplace());
  }
  std::optional<Dispatcher> dispatcher;
};
inline std::string nameOfPlace(const testing::TestParamInfo<bool>& info) {
  return info.param ? "Dispatcher" : "Threads";
}
#define HEVRA_IN_BOTH_PLACES(Suite) INSTANTIATE_TEST_SUITE_P(Place, Suite, ::testing::Bool(), nameOfPlace)

}  // namespace Quarnix::Test
