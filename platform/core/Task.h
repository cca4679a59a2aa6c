// The base of everything whose hooks run on a thread of their own: proxies, servers, events, timers.
#pragma once

#include <atomic>
#include <cstdint>

#include <platform/core/Export.h>

namespace Quarnix {

/// A body that runs on its own thread, one run at a time, whenever there is something to run.
///
/// A task is a few words until `schedule` is first called; only then does it get a thread, which it keeps until it is
/// retired. Copying a task copies its stack size and nothing else.
///
/// Threads: `schedule`, `enable` and `disable` may be called from any thread, `setStackSize` before the first run.
/// Forking: a task that has a thread stays behind in the parent; in the child it does nothing, and may be destroyed.
/// Retiring: whoever overrides a hook calls `retire` as the first act of its own destructor; a base class's destructor
/// is too late, because the hook would then already be gone.
class HEVRA_EXPORT Task {
 public:
  Task() noexcept;
  Task(const Task& other) noexcept;
  Task& operator=(const Task& other) noexcept;
  virtual ~Task();

  /// Begins delivery; what was scheduled meanwhile runs now. A task is enabled when it is made.
  virtual void enable();
  /// Ends delivery: returns when the body does not run any more and will not. Called on any task's or the timers'
  /// thread it does not wait: what runs is the last.
  virtual void disable();

 protected:
  /// What the task's thread calls.
  using Body = void (*)(Task& task);
  /// A task that runs `body` instead of `entry`. For a class that goes on running while the destructor of a class
  /// derived further changes the table of virtual operations, which `body` must not look into.
  explicit Task(Body body) noexcept : body_(body) {}

  /// The body: does all that there is to do and returns. An exception that leaves it is logged and the body runs again
  /// for what is left.
  virtual void entry();
  /// Called around a suspension of the platform; nothing by default.
  virtual void save();
  virtual void restore();

 public:
  /// The least stack in bytes that the task's thread gets; the platform adds what the runtime itself needs.
  void setStackSize(unsigned int bytes) noexcept { stackSize_ = bytes; }
  unsigned int getStackSize() const noexcept { return stackSize_; }

 protected:
  /// Has the body run once more, soon. Never fails: when no thread can be made, that is logged and tried again.
  void schedule() noexcept;
  /// Makes the thread now, so that a failure reaches the caller: raises std::system_error.
  void prepare();
  /// Makes all that `schedule` needs memory for, so that none is missing then: raises std::bad_alloc.
  void reserve();
  /// Ends the task for good: no hook is inside when it returns and none will enter. Called on the task's own thread it
  /// says so and ends the process, because the object would go under its own feet.
  void retire() noexcept;
  /// Whether the calling thread is this task's.
  bool isOwnThread() const noexcept;
  /// False from `disable` on: a body that works through a queue looks at it between two entries.
  bool isEnabled() const noexcept;

 private:
  class HEVRA_INTERNAL Runner;
  Runner* runner() noexcept;

  std::atomic<Runner*> runner_{nullptr};
  Body body_ = [](Task& task) { task.entry(); };
  unsigned int stackSize_ = 0;
  std::atomic<std::uint8_t> state_{0};
};

}  // namespace Quarnix
