// Counts the sends until the event's task takes them.
#include <platform/core/Event.h>

namespace Quarnix {

Event::~Event() = default;

void Event::send() noexcept {
  sent_.fetch_add(1);
  schedule();
}

void Event::entry() { run(*this); }

void Event::run(Task& task) {
  auto& event = static_cast<Event&>(task);
  if (const std::uint32_t count = event.sent_.exchange(0)) event.receive_(event, count);
}

}  // namespace Quarnix
