// Makes the entries of a timeline happen.
#pragma once

#include <cstdint>
#include <memory>

#include <platform/core/Mutex.h>
#include <platform/core/time/Elapsed.h>
#include <stack/Agenda.h>
#include <stack/Timeline.h>

namespace Quarnix::Hevra::Stack {

class Service;

/// What cannot happen, such as a change of a node that is not there, is logged and left out. An occurrence that comes
/// too late for its time because the process was busy or asleep is left out too, if the next one is due already.
///
/// Threads: any. Everything happens on the runner's own task.
class TimelineRunner {
 public:
  /// `service` must outlive the runner.
  explicit TimelineRunner(Service& service) noexcept : service_(service) {}

  /// Ends the present timeline and begins this one. Each of its entries has passed `check`.
  void begin(const Timeline& timeline);
  /// Nothing happens any more when it returns, except when it is called on a task's thread: then what is happening goes
  /// on to its end.
  void end();

 private:
  struct Run;
  void happenAfter(const Time::Elapsed& span, const std::shared_ptr<Run>& run);
  void happen(const std::shared_ptr<Run>& run);

  Service& service_;
  Mutex mutex_;  // held while a timeline begins, so that all its entries are there when the first one happens
  std::uint32_t generation_ HEVRA_GUARDED_BY(mutex_) = 0;  // of the timeline
  Agenda agenda_;
};

}  // namespace Quarnix::Hevra::Stack
