// The opposite of a lock: lets a held mutex go for a scope.
#pragma once

#include <platform/core/Mutex.h>

namespace Quarnix::Bus::Internal {

class HEVRA_SCOPED_CAPABILITY MutexUnlock {
 public:
  explicit MutexUnlock(Mutex& mutex) HEVRA_RELEASE(mutex) : mutex_(mutex) { mutex_.unlock(); }
  ~MutexUnlock() HEVRA_RELEASE() { mutex_.lock(); }
  MutexUnlock(const MutexUnlock&) = delete;
  MutexUnlock& operator=(const MutexUnlock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace Quarnix::Bus::Internal
