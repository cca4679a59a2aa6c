// What is to be done later.
#pragma once

#include <functional>
#include <map>

#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <stack/Wake.h>

namespace Quarnix::Hevra::Stack {

/// Runs each entry once its time has come, on a task of its own, one at a time in the order of their times; those of
/// one time in the order in which they came.
///
/// Threads: any.
class Agenda : private Task {
 public:
  Agenda();
  Agenda(const Agenda&) = delete;
  Agenda& operator=(const Agenda&) = delete;
  ~Agenda() override;

  void after(const Time::Elapsed& span, std::function<void()> entry);
  /// Drops all entries; returns when none is running, but on a task's thread, where it does not wait.
  void clear();

 private:
  void entry() override;

  Mutex mutex_;
  std::multimap<Time::Monotonic, std::function<void()>> entries_ HEVRA_GUARDED_BY(mutex_);
  Wake wake_;
};

}  // namespace Quarnix::Hevra::Stack
