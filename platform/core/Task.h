// The base of the objects whose hooks run on a thread of their own, such as proxies, servers and events.
#pragma once

#include <atomic>
#include <cstdint>

#include <platform/core/Export.h>

namespace Quarnix {

/// A task has a body that runs on the task's own thread, one run at a time, whenever there is something to run.
///
/// A task takes a few words of memory until `schedule` is first called. Then it gets a thread, which it keeps until it
/// is retired. A copy has the same stack size and nothing else of the original.
///
/// Threads: `schedule`, `enable` and `disable` may be called from any thread, `setStackSize` before the first run.
/// Forking: a thread stays behind in the parent. A task that had one does nothing in the child, and may be destroyed.
/// Retiring: a class that overrides a hook calls `retire` as the first act of its own destructor. The destructor of a
/// base class is too late, because the hook is gone by then.
class HEVRA_EXPORT Task {
 public:
  Task() noexcept;
  Task(const Task& other) noexcept;
  Task& operator=(const Task& other) noexcept;
  virtual ~Task();

  /// Begins delivery; the body runs now if it was scheduled meanwhile. A task is enabled when it is made.
  virtual void enable();
  /// Ends delivery: returns once the body neither runs nor will run. On the thread of any task, and on the timers'
  /// thread, it does not wait: the run that is under way is the last.
  virtual void disable();

 protected:
  /// The function that the task's thread calls.
  using Body = void (*)(Task& task);
  /// Makes a task that runs `body` instead of `entry`: for a class that goes on running while the destructor of a class
  /// derived from it changes the table of virtual operations. `body` must not call a virtual operation of the object.
  explicit Task(Body body) noexcept : body_(body) {}

  /// The body: does all that there is to do and returns. An exception that leaves it is logged, and the body runs again
  /// for the rest.
  virtual void entry();
  /// Called around a suspension of the platform. They do nothing by default.
  virtual void save();
  virtual void restore();

 public:
  /// The least stack in bytes that the task's thread gets; the platform adds what the runtime itself needs.
  void setStackSize(unsigned int bytes) noexcept { stackSize_ = bytes; }
  unsigned int getStackSize() const noexcept { return stackSize_; }

 protected:
  /// Lets the body run once more, soon. It never fails: when no thread can be made, it logs that and tries again.
  void schedule() noexcept;
  /// Makes the thread now, so that a failure reaches the caller: raises std::system_error.
  void prepare();
  /// Makes all that `schedule` needs memory for, so that none is missing then: raises std::bad_alloc.
  void reserve();
  /// Ends the task for good: no hook runs when it returns, and none will. On the task's own thread it logs that and
  /// ends the process, because the object would be destroyed while its hook still runs.
  void retire() noexcept;
  /// Whether the calling thread is this task's.
  bool isOwnThread() const noexcept;
  /// False from `disable` on. A body that works through a queue looks at it between two entries.
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
