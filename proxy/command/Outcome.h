// How each command ends, for applications that want to know of every one.
#pragma once

#include <cstdint>
#include <string>

#include <platform/core/Export.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/HvDetailedCommandStatus.h>

namespace Quarnix::Hevra::Proxy::Command {

/// What a command came to.
struct Outcome {
  enum class Kind : std::uint8_t {
    FINISHED,      // it reported a final status
    TIMED_OUT,     // no report has come for so long that the manager has forgotten it
    REFUSED,       // `submit` raised an error; the service does not carry it out
    SERVICE_LOST,  // the service that had it, or the bus to it, has gone: nothing more will be heard
    ABANDONED,     // the manager was destroyed first
  };

  Kind kind;
  /// The final status; only of FINISHED.
  HvDetailedCommandStatus status = HvDetailedCommandStatus::INITIALIZED;
  /// A text for people; empty for FINISHED.
  std::string reason = {};
};

/// Hears once, and only once, how each command ended that was handed to `Manager::submit` together with it; whatever
/// comes first counts, and what comes after it is for the originator alone.
///
/// Threads: calls may come on several threads at once: those of the manager's tasks, the one that is in `submit`
/// (REFUSED, SERVICE_LOST) and the one that destroys the manager (ABANDONED). Nothing is locked meanwhile. What leaves
/// `ended` as an exception is logged. Ownership: shared by the commands that have not ended.
class HEVRA_EXPORT OutcomeObserver {
 public:
  virtual ~OutcomeObserver();

  /// Of FINISHED it comes after the originator's `progress`, whose answer may still be on its way; of REFUSED before
  /// `submit` raises the error.
  virtual void ended(const Group& group, std::uint32_t commandId, const Outcome& outcome) = 0;
};

}  // namespace Quarnix::Hevra::Proxy::Command
