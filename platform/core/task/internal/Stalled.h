// Tries again, each second, what could not be done for want of memory or threads. Work that can be done is never put
// off here.
#pragma once

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/timer/QueueEntry.h>

namespace Quarnix {

/// The process's list of stalled work.
///
/// Threads: any. The list's mutex is held while an entry is tried again, so that an entry is not in use once `remove`
/// has returned. Therefore do not call `add` or `remove` under a lock that `tryAgain` takes.
class Stalled final : private Timer::QueueEntry {
 public:
  /// Derive from it to be put on the list; linking allocates nothing.
  class Entry {
   public:
    Entry() = default;
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

   protected:
    ~Entry() = default;
    /// Returns true when it is done, which takes it off the list.
    virtual bool tryAgain() noexcept = 0;

   private:
    friend class Stalled;
    Entry* next_ = nullptr;
  };

  static Stalled& get();

  /// Returns false when the entry is on the list already.
  bool add(Entry& entry) noexcept;
  void remove(Entry& entry) noexcept;

 private:
  friend union NeverDestroyed<Stalled>;
  Stalled() noexcept;
  ~Stalled() = default;
  void deadlineReached(const Time::Monotonic& deadline) noexcept override;
  Entry** find(const Entry& entry) noexcept HEVRA_REQUIRES(mutex_);

  Mutex mutex_;
  Entry* first_ HEVRA_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace Quarnix
