// Queues a timer, and runs its hook.
#include <platform/core/timer/Monotonic.h>

#include <cstdlib>
#include <system_error>

#include <platform/core/dispatcher/internal/Loop.h>
#include <platform/core/log/internal/Boundary.h>
#include <platform/core/timer/internal/ThreadQueue.h>

namespace Quarnix::Timer {

Monotonic::Monotonic(const Time::Monotonic& time, bool relative) noexcept : QueueEntry(time, relative) {}

Monotonic::Monotonic(const Monotonic& other) noexcept = default;

Monotonic::~Monotonic() { Monotonic::retire(); }

Queue& Monotonic::queue() const noexcept {
  if (Loop* const dispatching = loop()) return dispatching->timers();
  return ThreadQueue::get();
}

void Monotonic::start() {
  if (const int error = queue().start(*this))
    throw std::system_error(
        error, std::generic_category(),
        isDispatched() ? "no dispatcher in this process for a timer" : "no thread for the process's timers");
}

void Monotonic::stop() noexcept { queue().stop(*this); }
void Monotonic::setTime(const Time::Monotonic& time, bool relative) noexcept { queue().setTime(*this, time, relative); }
bool Monotonic::isRunning() const noexcept { return queue().isQueued(*this); }
void Monotonic::enable() { start(); }
void Monotonic::disable() { stop(); }

void Monotonic::retire() noexcept {
  if (queue().retire(*this)) return;
  Log::printQuietly(Log::Priority::WARNING,
                    "libCore> a timer is destroyed from its own hook: the hook has dropped the last reference to "
                    "what owns it");
  std::abort();
}

void Monotonic::deadlineReached(const Time::Monotonic& deadline) noexcept {
  runAtBoundary("timer", [&] { expired(deadline); });
}

}  // namespace Quarnix::Timer
