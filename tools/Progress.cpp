// Notes statuses and counts them.
#include <tools/Progress.h>

namespace Quarnix::Hevra::Tools {

Progress::Progress(const std::vector<Command>& commands) {
  for (const Command& command : commands) statuses_[command.getId()] = HvDetailedCommandStatus::INITIALIZED;
}

void Progress::note(std::uint32_t id, HvDetailedCommandStatus status) {
  MutexLock lock(mutex_);
  statuses_[id] = status;
  ++reports_;
}

void Progress::close() {
  MutexLock lock(mutex_);
  closed_ = true;
}

bool Progress::isClosed() const {
  MutexLock lock(mutex_);
  return closed_;
}

Progress::Outcome Progress::getOutcome() const {
  MutexLock lock(mutex_);
  Outcome outcome;
  outcome.reports = reports_;
  for (const auto& [id, status] : statuses_) {
    if (!Command::isFinalStatus(status)) {
      outcome.unfinished.push_back(id);
    } else if (status == HvDetailedCommandStatus::COMPLETED) {
      ++outcome.completed;
    } else {
      ++outcome.failed;
    }
  }
  return outcome;
}

}  // namespace Quarnix::Hevra::Tools
