// Counts the work under way in the process, and waits until there is none.
#include <platform/core/internal/Activity.h>

#include <atomic>
#include <cstdint>

#include <platform/core/Mutex.h>
#include <platform/core/internal/NeverDestroyed.h>

namespace Quarnix {

namespace {

// Both figures are in one word, so that they are of one moment: the upper half counts what was begun, the lower half
// what is under way.
constexpr std::uint64_t ONE_BEGUN = std::uint64_t{1} << 32;
constexpr std::uint64_t ONE_UNDER_WAY = 1;
std::atomic<std::uint64_t> figures{0};
std::atomic<std::size_t> watchers{0};
thread_local bool counted = false;

struct Watch {
  Mutex mutex;
  ConditionVariable none;
};

Watch& watch() {
  static NeverDestroyed<Watch> instance;
  return instance.object;
}

}  // namespace

Activity::Figures Activity::get() noexcept {
  const std::uint64_t both = figures.load();
  return {static_cast<std::uint32_t>(both), static_cast<std::uint32_t>(both >> 32)};
}

void Activity::begin() noexcept { figures.fetch_add(ONE_BEGUN + ONE_UNDER_WAY); }

void Activity::end() noexcept {
  // A watcher announces itself before it looks at the count: either it sees this zero or it is seen here.
  const auto left = static_cast<std::uint32_t>(figures.fetch_sub(ONE_UNDER_WAY) - ONE_UNDER_WAY);
  if (left != 0 || watchers.load() == 0) return;
  MutexLock lock(watch().mutex);
  watch().none.notifyAll();
}

void Activity::awaitNone() {
  watchers.fetch_add(1);
  {
    MutexLock lock(watch().mutex);
    while (get().underWay != 0) watch().none.wait(watch().mutex);
  }
  watchers.fetch_sub(1);
}

void Activity::countThisThread() noexcept { counted = true; }
bool Activity::isThisThreadCounted() noexcept { return counted; }

}  // namespace Quarnix
