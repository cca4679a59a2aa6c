// The face of a timer. The deadlines and the thread are the queue's.
#include <platform/core/timer/Monotonic.h>

#include <platform/core/timer/internal/Queue.h>

namespace Quarnix::Timer {

Monotonic::Monotonic(const Time::Monotonic& time, bool relative) noexcept : relative_(relative), time_(time) {}

Monotonic::Monotonic(const Monotonic& other) noexcept : Task(other), relative_(other.relative_), time_(other.time_) {}

Monotonic::~Monotonic() { Monotonic::retire(); }

void Monotonic::start() { Queue::get().start(*this); }
void Monotonic::stop() noexcept { Queue::get().stop(*this); }
void Monotonic::setTime(const Time::Monotonic& time, bool relative) noexcept {
  Queue::get().setTime(*this, time, relative);
}
bool Monotonic::isRunning() const noexcept { return Queue::get().isQueued(*this); }
void Monotonic::enable() { start(); }
void Monotonic::disable() { stop(); }
void Monotonic::retire() noexcept { Queue::get().retire(*this); }

}  // namespace Quarnix::Timer
