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

namespace {

/// The queue of a timer that is on this loop, or on none.
Queue& queueOf(Loop* loop) noexcept {
  if (loop) return loop->timers();
  return ThreadQueue::get();
}

}  // namespace

void Monotonic::start() {
  if (const int error = queueOf(loop()).start(*this))
    throw std::system_error(
        error, std::generic_category(),
        isDispatched() ? "no dispatcher in this process for a timer" : "no thread for the process's timers");
}

void Monotonic::stop() noexcept { queueOf(loop()).stop(*this); }
void Monotonic::setTime(const Time::Monotonic& time, bool relative) noexcept {
  queueOf(loop()).setTime(*this, time, relative);
}
bool Monotonic::isRunning() const noexcept { return queueOf(loop()).isQueued(*this); }
void Monotonic::enable() { start(); }
void Monotonic::disable() { stop(); }

void Monotonic::retire() noexcept {
  if (queueOf(loop()).retire(*this)) return;
  Log::printQuietly(Log::Priority::WARNING,
                    "libCore> a timer is destroyed from its own hook: the hook has dropped the last reference to "
                    "what owns it");
  std::abort();
}

void Monotonic::deadlineReached(const Time::Monotonic& deadline) noexcept {
  runAtBoundary("timer", [&] { expired(deadline); });
}

}  // namespace Quarnix::Timer
