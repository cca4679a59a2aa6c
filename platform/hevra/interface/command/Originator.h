// Whoever submits commands and wants to hear of their progress.
#pragma once

#include <platform/core/Export.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/homeautomation/command/Status.h>

namespace Quarnix::Hevra::Interface::Command {

/// Threads: called on a task of whoever delivers; with the proxies, one call at a time per manager. It may call the
/// manager back. An exception that leaves it is logged by the task, and the stack service gets no answer to the report.
class HEVRA_EXPORT Originator {
 public:
  virtual ~Originator();

  /// One report. Whether the command is at its end is told by its own status (`Hevra::Command::isFinalStatus`), not by
  /// `status`. The references are valid during the call only.
  virtual void progress(const Hevra::Command& command, const Group& group,
                        const HomeAutomation::Command::Status& status) = 0;

 protected:
  Originator() = default;
  Originator(const Originator&) = default;
  Originator& operator=(const Originator&) = default;
};

}  // namespace Quarnix::Hevra::Interface::Command
