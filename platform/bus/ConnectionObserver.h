// Telling an application that the bus or a service has come or gone.
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

/// Hears, while started, of a connection's link to its bus and of the owners of services' names. Derive from it and
/// override what is of interest:
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
/// First comes the state that it finds, `connected` or `lost` and `serviceUp` or `serviceDown` for each service, and
/// then every change. A loss of the link takes the services with it: `lost`, `serviceDown` for those that were up,
/// later `connected` and, as the bus knows them, `serviceUp`. An owner that takes the place of another is a
/// `serviceDown` and a `serviceUp`.
///
/// An observer that is slower than the changes hears of the last state and never of the same one twice in a row: it may
/// miss that something came and went again, but not that something was gone.
///
/// A started observer keeps the connection up as a started object does.
/// Threads: `start` and `stop` from any thread, the hooks too. The hooks run on the observer's own task, one at a time;
/// they hold up neither calls nor what arrives, and may use the bus. What leaves them as an exception is logged there.
/// Ownership: shares the connection.
/// Retiring: a class that overrides a hook calls `retire` as the first act of its own destructor.
class HEVRA_EXPORT ConnectionObserver : public Task, private Internal::ObserverTask {
 public:
  /// `services`: the well-known bus names to tell of.
  explicit ConnectionObserver(Shared::Pointer<Connection> connection, std::vector<std::string> services = {});
  /// Tells of the proxy's service on the proxy's connection.
  explicit ConnectionObserver(const Object::Proxy& proxy);
  ConnectionObserver(const ConnectionObserver&) = delete;
  ConnectionObserver& operator=(const ConnectionObserver&) = delete;
  ~ConnectionObserver() override;

  /// Begins to tell and returns at once, whether the bus is there or not. Raises InvalidArgument for a service whose
  /// name no service can own, StartFailed when there is no thread for it. Starting what is started does nothing.
  void start();
  /// Returns when no hook runs any more and none will. Called on any task's thread it does not wait: nothing new is
  /// told after it, and what runs is the last. Started again, it hears first of the state that it finds then.
  void stop();

 protected:
  /// The bus is there and knows this connection by its unique name. Served objects, subscriptions and names are on
  /// their way to it.
  virtual void connected(const std::string& uniqueName);
  /// The bus is not there; calls in flight have their error replies. `reason`: a text for people.
  virtual void lost(const std::string& reason);
  /// The service's name is owned, and by whom.
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
