// The application of this folder: whenever the service comes, it lists the nodes and switches a lamp on; it prints what
// changes.
#pragma once

#include <platform/bus/ConnectionObserver.h>
#include <proxy/command/Manager.h>
#include <proxy/node/Manager.h>

/// It never waits: the calls are asynchronous, and `start(false)` returns at once even if there is no bus.
///
/// Threads: only the one that dispatches. Everything runs there, so that nothing needs a lock.
class House {
 public:
  House();

 private:
  class Lamp;

  class Watcher : public Quarnix::Hevra::Proxy::Node::Manager {
   public:
    using Manager::Manager;
    ~Watcher() override { stop(); }  // first, so that no hook and no handler runs during the destruction
    void modified(const Quarnix::Hevra::Node& node, Quarnix::Hevra::NodeAction action) override;
  };

  class Presence : public Quarnix::Bus::ConnectionObserver {
   public:
    explicit Presence(House& house) : ConnectionObserver(house.nodes_), house_(house) {}
    ~Presence() override { retire(); }

   private:
    void serviceUp(const std::string&, const std::string&) override { house_.listNodes(); }

    House& house_;
  };

  void listNodes();
  void switchLampOn();

  Quarnix::Hevra::Proxy::Command::Manager commands_{false, "house"};
  Watcher nodes_{false};
  Presence presence_{*this};
};
