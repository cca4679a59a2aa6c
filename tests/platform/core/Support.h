// What the tests of the core share: a task and a timer with a body given by the test.
#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include <gtest/gtest.h>

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

}  // namespace Quarnix::Test
