// The event loop of a program: all that it does after the command line runs here, on one thread.
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include <platform/core/Dispatcher.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Hevra::Cli {

/// Makes its dispatcher the default one, so that objects of the library need no threads. SIGINT, SIGTERM, SIGPIPE,
/// SIGTSTP and SIGWINCH are events of the loop while it runs, and after `takeSignals` always; otherwise they act as
/// usual.
///
/// Threads: the one that has made it, except for `wake`. Make it before anything else that uses the library, and
/// destroy it last.
class Loop {
 public:
  /// Raises std::system_error if the system has no descriptor left.
  Loop();
  ~Loop();
  Loop(const Loop&) = delete;
  Loop& operator=(const Loop&) = delete;

  /// Runs all that is ready or due, until `isOver` returns true or the deadline comes, and returns true. Returns false
  /// as soon as SIGINT or SIGTERM has come. Unless you have called `takeSignals`, a signal that the process ignores
  /// does not count.
  ///
  /// `isOver` is called first, and after each `wake`.
  bool runUntil(const std::function<bool()>& isOver, const Time::Monotonic& deadline = Time::Monotonic::never());
  /// Makes `runUntil` call `isOver` again. Any thread.
  void wake() noexcept { dispatcher_.quit(); }
  /// Runs until SIGINT or SIGTERM comes.
  void runUntilSignal() {
    runUntil([] { return false; });
  }

  /// From now on, SIGINT and SIGTERM end nothing but `runUntil`, also if they come between two runs. They count even if
  /// the process ignores them, as a shell's background processes do.
  void takeSignals();
  /// The program does what the signal asks for in its own way. From now on, the next one ends `runUntil`.
  void heedSignal() noexcept { signal_ = 0; }
  /// Ends the process as the signal does for which `runUntil` has returned false.
  [[noreturn]] void obeySignal();
  /// Has `resized` called when the size of the terminal changes. `resized` must live as long as the loop runs.
  void onResize(std::function<void()> resized) { resized_ = std::move(resized); }
  /// Has `left` called before a signal stops or ends the process, and `resumed` when the process goes on. Both must
  /// live as long as the loop runs.
  void onPause(std::function<void()> left, std::function<void()> resumed) {
    left_ = std::move(left);
    resumed_ = std::move(resumed);
  }
  /// From now on, SIGHUP is an event of the loop too, and has `hungUp` called, which must live as long as the loop
  /// runs.
  void onHangup(std::function<void()> hungUp);
  /// Ends the process while the loop runs, as SIGPIPE does, if the reader of standard output goes.
  void watchOutput();

 private:
  class Signals;
  class OutputWatch;
  class Limit;
  void take(int signal);
  void pause();

  Dispatcher dispatcher_;
  std::unique_ptr<Signals> signals_;
  std::unique_ptr<OutputWatch> output_;
  std::function<void()> resized_, left_, resumed_, hungUp_;
  bool areSignalsTaken_ = false;
  int signal_ = 0;  // the first SIGINT or SIGTERM
};

}  // namespace Quarnix::Hevra::Cli
