// What a timer queue keeps: a time and the deadline that comes of it. Applications derive from Timer::Monotonic
// instead.
#pragma once

#include <cstdint>

#include <platform/core/Export.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Timer {

/// An entry brings its own links, so that queueing it needs no memory. A copy has the same time and is not queued.
///
/// Threads: the queue's mutex guards all members.
/// Destroying: the queue retires an entry first.
class HEVRA_EXPORT QueueEntry {
 public:
  QueueEntry& operator=(const QueueEntry&) = delete;

 protected:
  /// `relative`: `time` counts from the start; otherwise it is a point of the process's clock.
  QueueEntry(const Time::Monotonic& time, bool relative) noexcept : time_(time), relative_(relative) {}
  QueueEntry(const QueueEntry& other) noexcept : QueueEntry(other.time_, other.relative_) {}
  ~QueueEntry() = default;

 private:
  friend class Queue;
  friend class EntryTree;
  enum class State : std::uint8_t { IDLE, QUEUED, LATE, RETIRED };

  /// Runs on the timers' thread or within Dispatcher::dispatch, with no mutex held and the entry not queued. It may
  /// start the entry again, and must not destroy it.
  virtual void deadlineReached(const Time::Monotonic& deadline) noexcept = 0;

  // Of the tree, while it is queued.
  QueueEntry* parent_ = nullptr;
  QueueEntry* left_ = nullptr;
  QueueEntry* right_ = nullptr;
  Time::Monotonic deadline_;
  Time::Monotonic time_;
  std::uint32_t rank_ = 0;

  State state_ = State::IDLE;
  bool relative_;
};

}  // namespace Quarnix::Timer
