// The mutex, its locks and the condition variable of this library, annotated for Clang's thread-safety analysis.
// To wait with a deadline, use Time::Clock and never these classes, so that a simulated clock sees the wait.
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

/// Holds a mutex for a scope.
class HEVRA_SCOPED_CAPABILITY MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) HEVRA_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() HEVRA_RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

/// Releases a held mutex for a scope, around a call to others' code, and takes it again.
class HEVRA_SCOPED_CAPABILITY MutexUnlock {
 public:
  explicit MutexUnlock(Mutex& mutex) HEVRA_RELEASE(mutex) : mutex_(mutex) { mutex_.unlock(); }
  ~MutexUnlock() HEVRA_RELEASE() { mutex_.lock(); }
  MutexUnlock(const MutexUnlock&) = delete;
  MutexUnlock& operator=(const MutexUnlock&) = delete;

 private:
  Mutex& mutex_;
};

class ConditionVariable {
 public:
  ConditionVariable() = default;
  ConditionVariable(const ConditionVariable&) = delete;
  ConditionVariable& operator=(const ConditionVariable&) = delete;

  void notifyOne() noexcept { native_.notify_one(); }
  void notifyAll() noexcept { native_.notify_all(); }

  /// Waits without a deadline. It may return for no reason.
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
