// Notices that the listener has something else to do.
#include <platform/bus/connection/Listener.h>

namespace Quarnix::Bus::Internal {

Listener::~Listener() = default;

void Listener::update(bool isNeeded, std::uint64_t linkGeneration) noexcept {
  if (isNeeded == wasNeeded_ && linkGeneration == linkGeneration_) return;
  wasNeeded_ = isNeeded;
  linkGeneration_ = linkGeneration;
  wake();
}

}  // namespace Quarnix::Bus::Internal
