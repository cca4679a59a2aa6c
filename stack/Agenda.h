// A list of work that is to be done later.
#pragma once

#include <functional>
#include <map>

#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <stack/Wake.h>

namespace Quarnix::Hevra::Stack {

/// Runs each entry when its time has come. The entries run on the agenda's own task, one at a time and in the order of
/// their times; entries of the same time run in the order in which they were added.
///
/// Threads: any.
class Agenda : private Task {
 public:
  Agenda();
  Agenda(const Agenda&) = delete;
  Agenda& operator=(const Agenda&) = delete;
  ~Agenda() override;

  /// Adds an entry that runs after this span.
  void after(const Time::Elapsed& span, std::function<void()> entry);
  /// Drops all entries and waits for the one that is running, except when it is called on a task's thread.
  void clear();

 private:
  void entry() override;

  Mutex mutex_;
  std::multimap<Time::Monotonic, std::function<void()>> entries_ HEVRA_GUARDED_BY(mutex_);
  Wake wake_;
};

}  // namespace Quarnix::Hevra::Stack
