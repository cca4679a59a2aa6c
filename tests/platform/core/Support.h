// What the tests of the core share: a task and a timer with a body given by the test.
#pragma once

#include <functional>
#include <utility>

#include <gtest/gtest.h>

#include <platform/core/Task.h>
#include <platform/core/timer/Monotonic.h>
#include <tests/harness/CapturingLogger.h>

namespace Quarnix::Test {

using Harness::CapturingLogger;
using Harness::Gate;

class TestTask : public Task {
 public:
  explicit TestTask(std::function<void(TestTask&)> body = {}) : body_(std::move(body)) {}
  ~TestTask() override { retire(); }
  using Task::isOwnThread;
  using Task::prepare;
  using Task::schedule;

 protected:
  void entry() override { body_(*this); }

 private:
  std::function<void(TestTask&)> body_;
};

class TestTimer : public Timer::Monotonic {
 public:
  using Body = std::function<void(TestTimer&, const Time::Monotonic&)>;
  explicit TestTimer(const Time::Elapsed& time, Body body = {})
      : Timer::Monotonic(Time::Monotonic(time), true), body_(std::move(body)) {}
  TestTimer(const TestTimer&) = default;
  ~TestTimer() override { retire(); }

 protected:
  void expired(const Time::Monotonic& deadline) override {
    if (body_) body_(*this, deadline);
  }

 private:
  Body body_;
};

}  // namespace Quarnix::Test
