// What the tests of the core share: gates to wait at, a task and a timer with a body given by the test, a logger that
// keeps its lines.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <platform/core/Task.h>
#include <platform/core/log/Logger.h>
#include <platform/core/timer/Monotonic.h>

namespace Quarnix::Test {

/// Counts openings; waiting for them has a deadline that only a failure reaches.
class Gate {
 public:
  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++opened_;
    changed_.notify_all();
  }
  bool await(int count = 1) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(60), [&] { return opened_ >= count; });
  }
  int count() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return opened_;
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int opened_ = 0;
};

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

/// Is the process's logger for its life.
class KeptLines {
 public:
  KeptLines() : former_(Log::Logger::get()), logger_(Shared::make<Keeper>()) { Log::Logger::set(logger_); }
  ~KeptLines() { Log::Logger::set(former_); }
  std::vector<std::string> get() const {
    const std::lock_guard<std::mutex> lock(logger_->mutex);
    return logger_->lines;
  }

 private:
  struct Keeper : Log::Logger {
    void write(Log::Priority priority, const char* line) override {
      const std::lock_guard<std::mutex> lock(mutex);
      lines.push_back(std::to_string(static_cast<int>(priority)) + " " + line);
    }
    std::mutex mutex;
    std::vector<std::string> lines;
  };
  Shared::Pointer<Log::Logger> former_;
  Shared::Pointer<Keeper> logger_;
};

}  // namespace Quarnix::Test
