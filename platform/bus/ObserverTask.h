// What a connection tells of changes.
#pragma once

namespace Quarnix::Bus::Internal {

/// An observer's task, as the connection sees it.
class ObserverTask {
 public:
  /// Something may have changed: the task is to ask for the next change. Called with the connection's mutex held.
  virtual void stateChanged() noexcept = 0;

 protected:
  ~ObserverTask() = default;
};

}  // namespace Quarnix::Bus::Internal
