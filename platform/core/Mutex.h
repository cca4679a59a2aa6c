// The mutex, the scoped lock and the condition variable of this library, annotated for Clang's thread-safety analysis.
// Waiting with a deadline goes through Time::Clock, never through these classes, so that a simulated clock sees it.
#pragma once

#include <condition_variable>
#include <mutex>

#include <platform/core/ThreadSafety.h>

namespace Quarnix {

class HEVRA_CAPABILITY("mutex") Mutex {
 public:
  Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() HEVRA_ACQUIRE() { native_.lock(); }
  void unlock() HEVRA_RELEASE() { native_.unlock(); }
  std::mutex& native() { return native_; }

 private:
  std::mutex native_;
};

/// Holds a mutex for a scope. `unlock` and `lock` let it go and take it again within the scope (around a call-out).
class HEVRA_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) HEVRA_ACQUIRE(mutex) : mutex_(mutex), held_(true) { mutex_.lock(); }
  ~MutexLock() HEVRA_RELEASE() {
    if (held_) mutex_.unlock();
  }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

  void unlock() HEVRA_RELEASE() {
    held_ = false;
    mutex_.unlock();
  }
  void lock() HEVRA_ACQUIRE() {
    mutex_.lock();
    held_ = true;
  }

 private:
  Mutex& mutex_;
  bool held_;
};

class ConditionVariable {
 public:
  ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  void notifyOne() noexcept { native_.notify_one(); }
  void notifyAll() noexcept { native_.notify_all(); }

  /// Waits without a deadline; may return for no reason.
  void wait(Mutex& mutex) HEVRA_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.native(), std::adopt_lock);
    native_.wait(lock);
    lock.release();
  }

  std::condition_variable& native() { return native_; }

 private:
  std::condition_variable native_;
};

}  // namespace Quarnix
