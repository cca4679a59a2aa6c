// The process's queue of deadlines that has a thread.
#pragma once

#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/time/internal/Deadlines.h>
#include <platform/core/timer/internal/Queue.h>

namespace Quarnix::Timer {

/// The first start makes the thread, which runs until the process ends. A forked child begins with an empty queue and
/// no thread. Nothing here needs memory but the making of the thread.
class ThreadQueue final : public Queue, private Time::Deadlines {
 public:
  static ThreadQueue& get() noexcept;

 private:
  friend union NeverDestroyed<ThreadQueue>;
  ThreadQueue() noexcept;
  ~ThreadQueue() = default;

  void clockChanged() noexcept override;
  Time::Monotonic earliest() noexcept override { return getEarliest(); }
  bool waitsOn(const ConditionVariable& condition) const noexcept override { return &condition == &work_; }

  bool isForeign() const noexcept override { return false; }
  bool isRunHere() const noexcept override;
  int prepare() noexcept override HEVRA_REQUIRES(mutex_);
  bool wake() noexcept override HEVRA_REQUIRES(mutex_);
  void notify() noexcept override { work_.notifyOne(); }

  void beginAnewInChild() noexcept HEVRA_REQUIRES(mutex_);
  static void* threadBody(void* queue) noexcept;
  void run() noexcept;

  ConditionVariable work_;  // for the thread
  bool hasThread_ HEVRA_GUARDED_BY(mutex_) = false;
};

}  // namespace Quarnix::Timer
