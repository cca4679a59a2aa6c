// The base of the objects whose hooks run on a thread of their own or on a dispatcher, such as proxies, servers and
// events.
#pragma once

#include <atomic>
#include <cstdint>

#include <platform/core/Export.h>

namespace Quarnix {

class Dispatcher;
class Loop;

/// A task has a body that runs on the task's own thread, one run at a time, whenever there is something to run.
///
/// A task takes a few words of memory until it is first used. Then it gets a thread, which it keeps until it is
/// retired. If it was given a dispatcher, or if the process has a default one at the first use, the body runs within
/// Dispatcher::dispatch instead. A copy has the same stack size and dispatcher and nothing else of the original; an
/// assignment takes the stack size only.
///
/// Threads: `schedule`, `enable` and `disable` may be called from any thread, `setStackSize` before the first run.
/// Forking: a thread stays behind in the parent, and so does a dispatcher. A task that had one does nothing in the
/// child, and may be destroyed. Retiring: a class that overrides a hook calls `retire` as the first act of its own
/// destructor. The destructor of a base class is too late, because the hook is gone by then.
class HEVRA_EXPORT Task {
 public:
  Task() noexcept;
  Task(const Task& other) noexcept;
  Task& operator=(const Task& other) noexcept;
  virtual ~Task();

  /// Begins delivery; the body runs now if it was scheduled meanwhile. A task is enabled when it is made.
  virtual void enable();
  /// Ends delivery: returns once the body neither runs nor will run. On the thread of any task, on the timers' thread
  /// and within Dispatcher::dispatch, it does not wait: the run that is under way is the last.
  virtual void disable();

 protected:
  /// The function that the task's thread or its dispatcher calls.
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
  /// The body runs on this dispatcher and not on a thread. The stack size does not matter then. Raises std::logic_error
  /// after the first use of the task.
  void setDispatcher(Dispatcher& dispatcher);

 protected:
  /// Lets the body run once more, soon. It never fails: when no thread can be made, it logs that and tries again.
  void schedule() noexcept;
  /// Makes the thread now, if the task is to have one, so that a failure reaches the caller: raises std::system_error.
  void prepare();
  /// Makes all that `schedule` needs memory for, so that none is missing then: raises std::bad_alloc.
  void reserve();
  /// Ends the task for good: no hook runs when it returns, and none will. Called from the task's own hook, it logs that
  /// and ends the process, because the object would be destroyed while its hook still runs.
  void retire() noexcept;
  /// Takes the dispatcher of another task, if that has one. Call it before the first use.
  void shareDispatcher(const Task& other) noexcept;
  /// Whether the task has a dispatcher. This is a first use.
  bool isDispatched() const noexcept { return loop(); }
  /// What the task's dispatcher runs; null if it has none. The task keeps a reference. This is a first use.
  Loop* loop() const noexcept;
  /// Whether the calling thread is running this task's body.
  bool isOwnThread() const noexcept;
  /// False from `disable` on. A body that works through a queue looks at it between two entries.
  bool isEnabled() const noexcept;

 private:
  class HEVRA_INTERNAL Runner;
  class HEVRA_INTERNAL ThreadRunner;
  class HEVRA_INTERNAL DispatchedRunner;
  HEVRA_INTERNAL Runner* runner() noexcept;

  std::atomic<Runner*> runner_{nullptr};
  mutable std::atomic<Loop*> loop_{nullptr};  // of the dispatcher, with a reference
  Body body_ = nullptr;                       // null: `entry`
  unsigned int stackSize_ = 0;
  mutable std::atomic<std::uint8_t> state_{0};
};

}  // namespace Quarnix
