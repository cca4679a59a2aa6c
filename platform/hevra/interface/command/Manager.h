// The interface of an object that takes commands for the radio, in this process or in another.
#pragma once

#include <string>

#include <platform/core/Export.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/homeautomation/Container.h>
#include <platform/hevra/homeautomation/command/Priority.h>
#include <platform/hevra/interface/command/Originator.h>

namespace Quarnix::Hevra::Interface::Command {

class HEVRA_EXPORT Manager {
 public:
  virtual ~Manager();

  /// Submits the commands that the container's cursor yields as one group. `originator` hears of their progress.
  virtual void add(const Shared::Pointer<Originator>& originator, const Group& group,
                   const HomeAutomation::Container<Hevra::Command>& commands) = 0;
  /// Cancels every command.
  virtual void cancel() = 0;
  /// Cancels the commands with this key.
  virtual void cancel(const std::string& key) = 0;
  /// Cancels the commands of this priority.
  virtual void cancel(const HomeAutomation::Command::Priority& priority) = 0;

 protected:
  Manager() = default;
  Manager(const Manager&) = default;
  Manager& operator=(const Manager&) = default;
};

}  // namespace Quarnix::Hevra::Interface::Command
