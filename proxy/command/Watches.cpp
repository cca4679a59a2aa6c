// Tells observers how commands have ended.
#include <proxy/command/Watches.h>

#include <platform/core/log/internal/Boundary.h>
#include <proxy/command/internal/Outcomes.h>

namespace Quarnix::Hevra::Proxy::Command {

OutcomeObserver::~OutcomeObserver() = default;

void tell(const Watches& watches, const Outcome& outcome) noexcept {
  watches.forEach([&](const Submission& submission, std::uint32_t commandId) {
    runAtBoundary("command's outcome observer",
                  [&] { submission.observer->ended(submission.group, commandId, outcome); });
  });
}

}  // namespace Quarnix::Hevra::Proxy::Command
