// Waiting for what other threads do. Every wait has a deadline that only a failure reaches; none is a measure of time.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <utility>
#include <vector>

namespace Quarnix::Harness {

constexpr std::chrono::seconds FAILURE_DEADLINE{300};

/// Keeps values that come from any thread, in their order.
template <class T>
class Recorder {
 public:
  void add(T value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    changed_.notify_all();
  }
  /// Until there are so many; false at the deadline.
  bool await(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, FAILURE_DEADLINE, [&] { return values_.size() >= count; });
  }
  /// Until one fulfils the condition.
  template <class Condition>
  bool awaitAny(const Condition& condition) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, FAILURE_DEADLINE, [&] { return std::ranges::any_of(values_, condition); });
  }
  std::vector<T> all() const {
    const std::lock_guard lock(mutex_);
    return values_;
  }
  std::size_t count() const { return all().size(); }
  /// What was added since the last `take`.
  std::vector<T> take() {
    const std::lock_guard lock(mutex_);
    return std::exchange(values_, {});
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<T> values_;
};

/// Counts openings.
class Gate {
 public:
  void open() { openings_.add(true); }
  bool await(int count = 1) { return openings_.await(static_cast<std::size_t>(count)); }
  int count() const { return static_cast<int>(openings_.count()); }

 private:
  Recorder<bool> openings_;
};

}  // namespace Quarnix::Harness
