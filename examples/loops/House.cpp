// Each step begins when the one before is over.
#include <examples/loops/House.h>

#include <cstdio>

#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>

using namespace Quarnix;
using Hevra::Proxy::Command::Outcome;

/// Prints the reports of the lamp's command and its end.
class House::Lamp : public Hevra::Interface::Command::Originator, public Hevra::Proxy::Command::OutcomeObserver {
 public:
  void progress(const Hevra::Command& command, const Hevra::Group&, const HomeAutomation::Command::Status&) override {
    std::puts(command.toString().c_str());
  }
  void ended(const Hevra::Group&, std::uint32_t, const Outcome& outcome) override {
    std::printf("the command has ended: %s\n",
                outcome.kind == Outcome::Kind::FINISHED ? "finished" : outcome.reason.c_str());
  }
};

House::House() {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  commands_.start(false);
  nodes_.start(false);
  presence_.start();
}

void House::listNodes() {
  nodes_.getNodesAsync([this](const Bus::Result<Watcher::Nodes>& result) {
    try {
      std::printf("nodes: %d\n", static_cast<int>(result.get().size()));
      switchLampOn();
    } catch (const std::exception& error) {  // the service refuses, does not answer or has gone again
      std::printf("no nodes: %s\n", error.what());
    }
  });
}

void House::switchLampOn() {
  Hevra::Command on;
  on.setWrite(true);
  on.setAddress(0x1001);
  on.setValue(Shared::make<Hevra::HvBool>(true));
  const auto lamp = Shared::make<Lamp>();
  // It needs no handler, because the observer hears of a failure of the call, too.
  commands_.submitAsync(lamp, Hevra::Group("evening"), Hevra::Proxy::CommandContainerList{on}, lamp, nullptr);
}

void House::Watcher::modified(const Hevra::Node& node, Hevra::NodeAction) {
  std::printf("node 0x%x has changed\n", unsigned{node.getAddress()});
}
