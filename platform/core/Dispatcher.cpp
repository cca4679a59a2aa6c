// A handle of a loop.
#include <platform/core/Dispatcher.h>

#include <platform/core/dispatcher/internal/Loop.h>

namespace Quarnix {

Dispatcher::Dispatcher() : loop_(new Loop) {}
Dispatcher::~Dispatcher() { loop_->close(); }

int Dispatcher::getDescriptor() const noexcept { return loop_->descriptor(); }
void Dispatcher::dispatch() { loop_->dispatch(); }
void Dispatcher::run() { loop_->run(); }
void Dispatcher::quit() noexcept { loop_->quit(); }
Time::Monotonic Dispatcher::getDeadline() const noexcept { return loop_->timers().getEarliest(); }
void Dispatcher::setDefault(Dispatcher* dispatcher) noexcept {
  Loop::setDefault(dispatcher ? dispatcher->loop_ : nullptr);
}

}  // namespace Quarnix
