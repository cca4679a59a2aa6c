// Each step begins when the one before is over.
#include <examples/gateway/Application.h>

#include <cstdio>

#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>

using namespace Quarnix;
using Hevra::Proxy::Command::Outcome;

/// Waits for the end of the lamp's command.
class Application::Command : public Hevra::Interface::Command::Originator,
                             public Hevra::Proxy::Command::OutcomeObserver {
 public:
  Command(Application& application, std::size_t nodes) : application_(application), nodes_(nodes) {}

  void progress(const Hevra::Command&, const Hevra::Group&, const HomeAutomation::Command::Status&) override {}
  void ended(const Hevra::Group&, std::uint32_t, const Outcome& outcome) override {
    if (outcome.kind == Outcome::Kind::SERVICE_LOST || outcome.kind == Outcome::Kind::ABANDONED) return;
    if (outcome.kind != Outcome::Kind::FINISHED)
      application_.tryLater(outcome.reason);
    else if (outcome.status != Hevra::HvDetailedCommandStatus::COMPLETED)
      application_.tryLater("the lamp refuses");
    else
      application_.report(std::to_string(nodes_) + " nodes, the lamp is on");
  }

 private:
  Application& application_;
  const std::size_t nodes_;
};

Application::Application(std::uint32_t lamp, const ServiceManager& serviceManager)
    : lamp_(lamp), serviceManager_(serviceManager) {
  commands_.start(false);
  nodes_.start(false);
  presence_.start();
}

void Application::listNodes() {
  nodes_.getNodesAsync([this](const Bus::Result<Watcher::Nodes>& result) {
    try {
      const std::size_t count = result.get().size();
      serviceManager_.tell("READY=1");  // systemd ignores all but the first
      switchOn(count);
    } catch (const std::exception& error) {
      tryLater(error.what());
    }
  });
}

void Application::switchOn(std::size_t nodes) {
  Hevra::Command on;
  on.setWrite(true);
  on.setAddress(lamp_);
  on.setValue(Shared::make<Hevra::HvBool>(true));
  const auto command = Shared::make<Command>(*this, nodes);
  commands_.submitAsync(command, Hevra::Group("hall"), Hevra::Proxy::CommandContainerList{on}, command, nullptr);
}

void Application::tryLater(const std::string& reason) {
  if (!nodes_.isAvailable()) return;  // it goes on when the service comes
  report("trying again in 10 seconds: " + reason);
  retry_.start();
}

void Application::report(const std::string& state) const {
  std::printf("%s\n", state.c_str());
  std::fflush(stdout);
  serviceManager_.tell("STATUS=" + state);
}

void Application::Watcher::modified(const Hevra::Node& node, Hevra::NodeAction) {
  std::printf("node 0x%x has changed\n", unsigned{node.getAddress()});
  std::fflush(stdout);
}

Application::Presence::Presence(Application& application)
    : ConnectionObserver(application.nodes_), application_(application) {}

void Application::Presence::serviceDown(const std::string&) {
  application_.retry_.stop();
  application_.report("waiting for the stack service");
}

Application::Retry::Retry(Application& application)
    : Monotonic(Time::Monotonic(Time::Elapsed(10, 0)), true), application_(application) {}
