// How a connection tells an observer that something has changed.
#pragma once

namespace Quarnix::Bus::Internal {

/// The task of an observer, as the connection sees it.
class ObserverTask {
 public:
  /// Something may have changed, so the task must ask for the next change. The caller holds the connection's mutex.
  virtual void stateChanged() noexcept = 0;

 protected:
  ~ObserverTask() = default;
};

}  // namespace Quarnix::Bus::Internal
