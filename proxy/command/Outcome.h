// How a command ends, and the observer that hears it.
#pragma once

#include <cstdint>
#include <string>

#include <platform/core/Export.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/HvDetailedCommandStatus.h>

namespace Quarnix::Hevra::Proxy::Command {

/// How a command has ended.
struct Outcome {
  enum class Kind : std::uint8_t {
    FINISHED,      // it has reported a final status
    TIMED_OUT,     // the manager has forgotten it, because no report has come in time
    REFUSED,       // `submit` has raised an error; the service does not carry it out
    SERVICE_LOST,  // the service that had it, or the bus, has gone: no report will come
    ABANDONED,     // the manager was destroyed before
  };

  Kind kind;
  /// The final status; only for FINISHED.
  HvDetailedCommandStatus status = HvDetailedCommandStatus::INITIALIZED;
  /// A text for people; empty for FINISHED.
  std::string reason = {};
};

/// An observer that you give to `Manager::submit` hears exactly once how each of the commands has ended. The first end
/// counts; only the originator hears what comes after it.
///
/// Threads: several threads may call it at once: those of the manager's tasks, the one in `submit` (REFUSED,
/// SERVICE_LOST) and the one that destroys the manager (ABANDONED). Nothing is locked meanwhile. An exception that
/// leaves `ended` is logged. Ownership: the commands that have not ended share it.
class HEVRA_EXPORT OutcomeObserver {
 public:
  virtual ~OutcomeObserver();

  /// FINISHED comes after the originator's `progress`, when the answer to the report may not have left yet. REFUSED
  /// comes before `submit` raises the error.
  virtual void ended(const Group& group, std::uint32_t commandId, const Outcome& outcome) = 0;
};

}  // namespace Quarnix::Hevra::Proxy::Command
