// The interface of an object that submits commands and hears of their progress.
#pragma once

#include <platform/core/Export.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/homeautomation/command/Status.h>

namespace Quarnix::Hevra::Interface::Command {

/// Threads: the calls come on a task of the object that delivers the reports; from the proxies, one at a time per
/// manager. You may call the manager back. The task logs an exception that leaves a call, and the stack service gets no
/// answer to the report.
class HEVRA_EXPORT Originator {
 public:
  virtual ~Originator();

  /// One report. The command's own status, not `status`, tells whether it is the last
  /// (`Hevra::Command::isFinalStatus`). The references are valid during the call only.
  virtual void progress(const Hevra::Command& command, const Group& group,
                        const HomeAutomation::Command::Status& status) = 0;

 protected:
  Originator() = default;
  Originator(const Originator&) = default;
  Originator& operator=(const Originator&) = default;
};

}  // namespace Quarnix::Hevra::Interface::Command
