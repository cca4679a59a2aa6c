// Counting sends until the event's task takes them.
#include <platform/core/Event.h>

#include <platform/core/ThreadSafety.h>

namespace Quarnix {

Event::Event() noexcept = default;
Event::~Event() = default;

void Event::send() noexcept {
  sent_.fetch_add(1);
  schedule();
}

HEVRA_HOOK_OUTLIVES_DERIVED void Event::entry() {
  if (const std::uint32_t count = sent_.exchange(0)) receive(count);
}

}  // namespace Quarnix
