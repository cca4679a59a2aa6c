// The application: switches a lamp on whenever the stack service comes, and reports its state to systemd.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <examples/gateway/ServiceManager.h>
#include <platform/bus/ConnectionObserver.h>
#include <platform/core/timer/Monotonic.h>
#include <proxy/command/Manager.h>
#include <proxy/node/Manager.h>

/// It starts whether the bus and the service are there or not, and is ready when the service has answered for the first
/// time. It lists the nodes and switches the lamp on. If one of these fails, it tries again after 10 seconds; if the
/// service goes, it waits for the service.
///
/// Threads: only the one that dispatches.
class Application {
 public:
  /// `lamp`: the address of the lamp's node. Keeps a reference to `serviceManager`.
  Application(std::uint32_t lamp, const ServiceManager& serviceManager);

 private:
  class Command;

  class Watcher : public Quarnix::Hevra::Proxy::Node::Manager {
   public:
    using Manager::Manager;
    ~Watcher() override { stop(); }  // first, so that no hook and no handler runs during the destruction

   private:
    void modified(const Quarnix::Hevra::Node& node, Quarnix::Hevra::NodeAction action) override;
  };

  class Presence : public Quarnix::Bus::ConnectionObserver {
   public:
    explicit Presence(Application& application);
    ~Presence() override { retire(); }

   private:
    void serviceUp(const std::string&, const std::string&) override { application_.listNodes(); }
    void serviceDown(const std::string&) override;

    Application& application_;
  };

  class Retry : public Quarnix::Timer::Monotonic {
   public:
    explicit Retry(Application& application);
    ~Retry() override { retire(); }

   private:
    void expired(const Quarnix::Time::Monotonic&) override { application_.listNodes(); }

    Application& application_;
  };

  void listNodes();
  void switchOn(std::size_t nodes);
  void tryLater(const std::string& reason);
  void report(const std::string& state) const;

  const std::uint32_t lamp_;
  const ServiceManager& serviceManager_;
  Retry retry_{*this};
  Watcher nodes_{false};
  Presence presence_{*this};
  // The last member, so that it is destroyed first: its destructor still tells how commands end.
  Quarnix::Hevra::Proxy::Command::Manager commands_{false, "lamp"};
};
