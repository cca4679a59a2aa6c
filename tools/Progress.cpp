// Counts the ends of commands.
#include <tools/Progress.h>

namespace Quarnix::Hevra::Tools {

Progress::Progress(const std::vector<Command>& commands) {
  for (const Command& command : commands) unfinished_.insert(command.getId());
}

void Progress::end(std::uint32_t id, const Proxy::Command::Outcome& outcome) {
  using Kind = Proxy::Command::Outcome::Kind;
  if (unfinished_.erase(id) == 0) return;
  if (outcome.kind == Kind::SERVICE_LOST)
    summary_.lost.push_back(id);
  else if (outcome.kind == Kind::TIMED_OUT)
    summary_.unheard.push_back(id);
  else if (outcome.status == HvDetailedCommandStatus::COMPLETED)
    ++summary_.completed;
  else
    ++summary_.failed;
}

Progress::Summary Progress::getSummary() const {
  Summary summary = summary_;
  summary.unfinished.assign(unfinished_.begin(), unfinished_.end());
  return summary;
}

}  // namespace Quarnix::Hevra::Tools
