// Tells an application that the bus or a service has come or gone.
#pragma once

#include <atomic>
#include <string>
#include <vector>

#include <platform/bus/Connection.h>
#include <platform/bus/ObserverTask.h>
#include <platform/core/Task.h>

namespace Quarnix::Bus {

namespace Object {
class Proxy;
}

/// While started, an observer hears when a connection's link to its bus comes and goes, and when services' names get
/// and lose owners. Derive from it and override the hooks that you need:
///
///   class Availability : public Bus::ConnectionObserver {
///    public:
///     using ConnectionObserver::ConnectionObserver;  // Availability availability(manager);
///     ~Availability() override { retire(); }
///
///    protected:
///     void serviceUp(const std::string& name, const std::string& owner) override;
///   };
///
/// The observer first hears of the present state: `connected` or `lost`, and `serviceUp` or `serviceDown` for each
/// service. Then it hears of every change. When the link is lost, so are the services: the observer hears `lost`, then
/// `serviceDown` for each that was up, later `connected`, and `serviceUp` when the bus has named an owner. If one owner
/// replaces another, it hears `serviceDown` and `serviceUp`.
///
/// An observer that is slower than the changes hears of the last state, and never of the same state twice in a row. It
/// may miss that something came and went again, but never that something was gone.
///
/// A started observer keeps the connection up as a started object does.
/// Threads: `start` and `stop` from any thread, also from the hooks. The hooks run on the observer's own task, one at a
/// time. They delay neither calls nor messages that arrive, and may use the bus. An exception that leaves them is
/// logged. Ownership: shares the connection. Retiring: a class that overrides a hook calls `retire` first in its own
/// destructor.
class HEVRA_EXPORT ConnectionObserver : public Task, private Internal::ObserverTask {
 public:
  /// `services`: the well-known bus names that the observer hears of.
  explicit ConnectionObserver(Shared::Pointer<Connection> connection, std::vector<std::string> services = {});
  /// Observes the proxy's service on the proxy's connection.
  explicit ConnectionObserver(const Object::Proxy& proxy);
  ConnectionObserver(const ConnectionObserver&) = delete;
  ConnectionObserver& operator=(const ConnectionObserver&) = delete;
  ~ConnectionObserver() override;

  /// Begins to observe and returns at once, whether the bus is there or not. Raises InvalidArgument for a name that no
  /// service can own, and StartFailed if there is no thread for it. If the observer is started already, does nothing.
  void start();
  /// Returns when no hook runs any more and none will. On a task's thread it does not wait: the hook that runs is the
  /// last one. Started again, the observer first hears of the state at that time.
  void stop();

 protected:
  /// The bus is there and has given this connection its unique name. The bus will know the connection's objects,
  /// subscriptions and names when it has read what was just sent to it.
  virtual void connected(const std::string& uniqueName);
  /// The bus is not there, and calls in flight have their error replies. `reason`: a text for people.
  virtual void lost(const std::string& reason);
  /// The service's name has this owner.
  virtual void serviceUp(const std::string& name, const std::string& owner);
  /// Nobody owns the service's name, or the bus is not there.
  virtual void serviceDown(const std::string& name);

  void retire() noexcept;
  void entry() override;

 private:
  void stateChanged() noexcept override { schedule(); }

  const Shared::Pointer<Connection> connection_;
  const std::vector<std::string> services_;
};

}  // namespace Quarnix::Bus
