// Counts in every forked child.
#include <platform/core/internal/Fork.h>

#include <atomic>

#include <pthread.h>

namespace Quarnix {

namespace {

std::atomic<unsigned> count{0};

}  // namespace

unsigned forkCount() noexcept {
  static const int registered = pthread_atfork(nullptr, nullptr, [] { count.fetch_add(1); });
  static_cast<void>(registered);
  return count.load(std::memory_order_relaxed);
}

}  // namespace Quarnix
