// What could not be done for want of memory or threads and is tried again each second. Internal, and for nothing else:
// work that can be done is never put off here.
#pragma once

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>
#include <platform/core/timer/Monotonic.h>

namespace Quarnix {

/// The process's list of what is stalled; made on first use and never destroyed.
///
/// Threads: any. The list's mutex is held while an entry is tried again, so that an entry is not in use once `remove`
/// has returned; `add` and `remove` are therefore not to be called under a lock that `tryAgain` takes.
class Stalled : private Timer::Monotonic {
 public:
  /// Derive from it to be put on the list; linking allocates nothing.
  class Entry {
   public:
    Entry() = default;
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;

   protected:
    ~Entry() = default;
    /// True when it is done and off the list.
    virtual bool tryAgain() noexcept = 0;

   private:
    friend class Stalled;
    Entry* next_ = nullptr;
  };

  static Stalled& get();

  /// False when it is on the list already.
  bool add(Entry& entry) noexcept;
  void remove(Entry& entry) noexcept;

 private:
  friend union NeverDestroyed<Stalled>;
  Stalled() noexcept;
  ~Stalled() override = default;
  void expired(const Time::Monotonic& deadline) override;
  Entry** find(const Entry& entry) noexcept HEVRA_REQUIRES(mutex_);

  Mutex mutex_;
  Entry* first_ HEVRA_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace Quarnix
