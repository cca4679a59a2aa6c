// Hears when the process's clock has moved other than by time passing.
#pragma once

#include <platform/core/Mutex.h>

namespace Quarnix::Time {

/// An object of the process's list of those that look at their deadlines when a simulated clock moves, or when another
/// clock is put in force.
///
/// Threads: any. The list's mutex is held while an observer is told. Take it before any that `clockChanged` takes.
class ClockObserver {
 public:
  ClockObserver(const ClockObserver&) = delete;
  ClockObserver& operator=(const ClockObserver&) = delete;

  /// Tells every observer.
  static void notifyAll() noexcept;

 protected:
  ClockObserver() = default;
  ~ClockObserver() = default;

  /// Puts this object on the list.
  void observe() noexcept;
  /// Takes it off. It is not being told any more when this returns.
  void ignore() noexcept;

  /// For whoever holds the list over a fork.
  static Mutex& listMutex() noexcept;

 private:
  /// The clock has moved, or is another one.
  virtual void clockChanged() noexcept = 0;

  ClockObserver* next_ = nullptr;
};

}  // namespace Quarnix::Time
