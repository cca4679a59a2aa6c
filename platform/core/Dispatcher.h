// Runs tasks, events and timers on a thread of the application, from the application's own event loop.
#pragma once

#include <platform/core/Export.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix {

class Loop;

/// What is given a dispatcher has no thread: its hooks run within `dispatch`, one at a time, on the thread that calls
/// it. Give it to single objects (Task::setDispatcher), or make it the process's default:
///
///   Dispatcher dispatcher;
///   Dispatcher::setDefault(&dispatcher);  // before anything is used
///   // In an event loop of your own: whenever the descriptor is readable, dispatch.
///   pollfd descriptors[] = {{dispatcher.getDescriptor(), POLLIN, 0}, {terminal, POLLIN, 0}};
///   while (poll(descriptors, 2, -1) >= 0) {
///     if (descriptors[0].revents) dispatcher.dispatch();
///     if (descriptors[1].revents) readTerminal();
///   }
///   // Without one:
///   dispatcher.run();
///
/// One `dispatch` calls the descriptors' watches that are ready, then the timers that are due, in the order of their
/// deadlines, then the tasks that have something to run. What becomes ready or due meanwhile waits for the next
/// `dispatch`; the descriptor stays readable. A hook may destroy any object but its own. An exception that leaves a
/// hook is logged.
///
/// Threads: one thread at a time dispatches; which one it is may change. Other threads may use the objects as ever, and
/// wake the dispatching thread by doing so.
/// Time: with a simulated clock, the descriptor becomes readable when the clock reaches a deadline.
/// SimulatedClock::advance does not wait for what a dispatcher runs: advance, then dispatch. With another clock of your
/// own, `getDeadline` tells how long you may wait; `run` heeds it.
/// Forking: a forked child shares the descriptor with its parent. It cannot dispatch, and may destroy what it has.
class HEVRA_EXPORT Dispatcher {
 public:
  /// Raises std::system_error if the system has no descriptor left; it takes three.
  Dispatcher();
  /// From now on, what was given to this dispatcher runs no hook any more; it may be destroyed later. If this is the
  /// default dispatcher, there is none any more. Within `dispatch`, it logs that and ends the process.
  ~Dispatcher();
  Dispatcher(const Dispatcher&) = delete;
  Dispatcher& operator=(const Dispatcher&) = delete;

  /// An epoll set, for poll(2), epoll(7) and the event loops built on them. It is readable while there is something to
  /// dispatch, and now and then when there is nothing. Do not read from it, and do not add to it. The dispatcher closes
  /// it.
  int getDescriptor() const noexcept;
  /// Runs what is ready or due, and never waits. Raises std::logic_error if another thread dispatches at the moment, if
  /// a hook that this dispatcher runs calls it, and in a forked child.
  void dispatch();

  /// Dispatches and waits in turn, until `quit`. Raises what `dispatch` raises.
  void run();
  /// Makes `run` return when the hooks that are due have run. If nothing runs, the next `run` returns at once. Call it
  /// on any thread, also from a hook, but not from a signal handler.
  void quit() noexcept;

  /// When the next timer is due; never if there is none. If it is not later than now, dispatch.
  Time::Monotonic getDeadline() const noexcept;

  /// Makes `dispatcher` the one of every object that is first used from now on and was given none; with null, such
  /// objects have threads. Call it before anything is used, and while no other thread uses the library.
  static void setDefault(Dispatcher* dispatcher) noexcept;

 private:
  friend class Loop;
  Loop* const loop_;
};

}  // namespace Quarnix
