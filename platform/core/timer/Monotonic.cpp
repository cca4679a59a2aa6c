// Queues a timer, and runs its hook.
#include <platform/core/timer/Monotonic.h>

#include <cstdlib>
#include <system_error>

#include <platform/core/log/internal/Boundary.h>
#include <platform/core/timer/internal/Queue.h>

namespace Quarnix::Timer {

Monotonic::Monotonic(const Time::Monotonic& time, bool relative) noexcept : QueueEntry(time, relative) {}

Monotonic::Monotonic(const Monotonic& other) noexcept = default;

Monotonic::~Monotonic() { Monotonic::retire(); }

void Monotonic::start() {
  if (const int error = Queue::get().start(*this))
    throw std::system_error(error, std::generic_category(), "no thread for the process's timers");
}

void Monotonic::stop() noexcept { Queue::get().stop(*this); }
void Monotonic::setTime(const Time::Monotonic& time, bool relative) noexcept {
  Queue::get().setTime(*this, time, relative);
}
bool Monotonic::isRunning() const noexcept { return Queue::get().isQueued(*this); }
void Monotonic::enable() { start(); }
void Monotonic::disable() { stop(); }

void Monotonic::retire() noexcept {
  if (Queue::get().retire(*this)) return;
  Log::printQuietly(Log::Priority::WARNING,
                    "libCore> a timer is destroyed from its own hook: the hook has dropped the last reference to "
                    "what owns it");
  std::abort();
}

void Monotonic::deadlineReached(const Time::Monotonic& deadline) noexcept {
  runAtBoundary("timer", [&] { expired(deadline); });
}

}  // namespace Quarnix::Timer
