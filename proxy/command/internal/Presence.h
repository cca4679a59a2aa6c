// Tells a command manager that the service has gone, for the commands whose ends are observed. Internal.
#pragma once

#include <platform/bus/ConnectionObserver.h>
#include <proxy/command/Manager.h>

namespace Quarnix::Hevra::Proxy::Command {

class Manager::Presence : public Bus::ConnectionObserver {
 public:
  explicit Presence(Manager& manager) : ConnectionObserver(manager), manager_(manager) {
    shareDispatcher(static_cast<const Event&>(manager));
  }
  ~Presence() override { retire(); }

 protected:
  void serviceUp(const std::string&, const std::string&) override { manager_.serviceChanged(); }
  void serviceDown(const std::string&) override { manager_.serviceChanged(); }

 private:
  Manager& manager_;
};

}  // namespace Quarnix::Hevra::Proxy::Command
