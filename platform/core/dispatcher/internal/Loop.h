// What a dispatcher runs, and what wakes the thread that dispatches.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <thread>
#include <vector>

#include <sys/epoll.h>

#include <platform/core/Dispatcher.h>
#include <platform/core/Mutex.h>
#include <platform/core/dispatcher/internal/Link.h>
#include <platform/core/dispatcher/internal/LoopTimers.h>
#include <platform/core/dispatcher/internal/WakeUp.h>

namespace Quarnix {

/// A Dispatcher is a handle of its loop. Whatever was given the dispatcher has a reference to the loop, so that the
/// dispatcher may go first; then the loop runs nothing any more.
///
/// Threads: any. The mutex may be taken under those of a connection and of a bus object, and nothing is taken under it.
/// It is not held while anything runs.
/// Forking: in a child, nothing here has an effect, and no mutex is taken.
class Loop {
 public:
  class Work;
  class Source;

  /// With one reference. Raises std::system_error if there is no descriptor.
  Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  static Loop& of(const Dispatcher& dispatcher) noexcept { return *dispatcher.loop_; }
  /// The default dispatcher's, without a reference; null if there is none in this process.
  static Loop* getDefault() noexcept;
  static void setDefault(Loop* loop) noexcept;

  void retain() noexcept { references_.fetch_add(1, std::memory_order_relaxed); }
  void release() noexcept;
  /// The dispatcher is gone. Ends the process if it dispatches.
  void close() noexcept;

  int descriptor() const noexcept { return wakeUp_.descriptor(); }
  void dispatch();
  void run();
  void quit() noexcept;

  /// Lets the work run in the next `dispatch`; does nothing if it is posted already. From then on the work may run, and
  /// may end the caller's object: touch nothing after.
  void post(Work& work) noexcept;
  /// Lets the work run at the end of this `dispatch`, behind everything else; does nothing if it is posted already.
  /// Call it within `dispatch`, on the thread that dispatches.
  void postAtEnd(Work& work) noexcept;
  /// The work is not posted any more and does not run when it returns. On the dispatching thread it does not wait: a
  /// run that is under way is the last. Elsewhere it waits for that run, so do not hold a mutex that `run` takes.
  void withdraw(Work& work) noexcept;
  /// Wait for the run that is under way, as `withdraw` does. The work stays posted.
  void awaitOut(const Work& work) noexcept { awaitOut(static_cast<const void*>(&work)); }
  void awaitOut(const Source& source) noexcept { awaitOut(static_cast<const void*>(&source)); }

  Timer::Queue& timers() noexcept { return timers_; }
  /// Whether the calling thread is within `dispatch`.
  bool isDispatchedHere() const noexcept { return thread_.load() == std::this_thread::get_id(); }
  /// How many times it has dispatched. Call it on the thread that dispatches.
  std::uint64_t rounds() const noexcept { return rounds_; }
  bool isOfThisProcess() const noexcept;

 private:
  static constexpr int MOST_EVENTS = 16;  // in one dispatch; the set hands out the others the next time

  ~Loop();
  int await(epoll_event (&events)[MOST_EVENTS]);
  void dispatch(const epoll_event* events, int count);
  void begin() HEVRA_EXCLUDES(mutex_);
  void callSources(const epoll_event* events, int count) noexcept HEVRA_EXCLUDES(mutex_);
  void runWork() noexcept HEVRA_EXCLUDES(mutex_);
  void runFirst(Link& list) noexcept HEVRA_REQUIRES(mutex_);
  void end() noexcept HEVRA_EXCLUDES(mutex_);
  template <class Call>
  void call(const void* callee, const Call& call) noexcept HEVRA_REQUIRES(mutex_);
  void awaitOut(const void* callee) noexcept HEVRA_EXCLUDES(mutex_);
  void awaitCall(const void* callee) noexcept HEVRA_REQUIRES(mutex_);

  std::atomic<unsigned> references_{1};
  const unsigned forks_;
  WakeUp wakeUp_;
  LoopTimers timers_{*this, wakeUp_};
  std::atomic<bool> quit_{false};
  std::atomic<std::thread::id> thread_{};  // that dispatches; written under the mutex
  std::uint64_t rounds_ = 0;

  Mutex mutex_;
  ConditionVariable out_;  // for other threads: a call is over
  struct Head : Link {};
  Head ready_ HEVRA_GUARDED_BY(mutex_);
  Head atEnd_ HEVRA_GUARDED_BY(mutex_);
  Head mark_ HEVRA_GUARDED_BY(mutex_);  // in `ready_`, while work runs: what stands behind it is for the next dispatch
  const void* callee_ HEVRA_GUARDED_BY(mutex_) = nullptr;  // the work or source that runs; it may be destroyed already
  unsigned calls_ HEVRA_GUARDED_BY(mutex_) = 0;
  // The open sources, each in a place of its own. The key of a source has the place in its upper half, and in the lower
  // half how many sources were opened before it. So an event of a source that was closed meanwhile finds none.
  static std::size_t placeOf(std::uint64_t key) noexcept { return static_cast<std::size_t>(key >> 32); }
  std::vector<Source*> sources_ HEVRA_GUARDED_BY(mutex_);
  std::uint32_t opened_ HEVRA_GUARDED_BY(mutex_) = 0;
};

}  // namespace Quarnix
