// The smallest client: switches a lamp on, prints the reports, and says if something goes wrong.
#include <cstdio>
#include <platform/core/Dispatcher.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
using namespace Quarnix;
using Hevra::Proxy::Command::Outcome;

struct Lamp : Hevra::Interface::Command::Originator, Hevra::Proxy::Command::OutcomeObserver {
  explicit Lamp(Dispatcher& loop) : dispatcher(loop) {}
  void progress(const Hevra::Command& command, const Hevra::Group&, const HomeAutomation::Command::Status&) override {
    std::puts(command.toString().c_str());
  }
  void ended(const Hevra::Group&, std::uint32_t, const Outcome& how) override {  // exactly once, whatever happens
    outcome = how;
    dispatcher.quit();
  }

  Dispatcher& dispatcher;
  Outcome outcome{};
};

int main() try {
  Dispatcher dispatcher;
  Dispatcher::setDefault(&dispatcher);  // instead of threads: all hooks run in `run`, one at a time
  const auto lamp = Shared::make<Lamp>(dispatcher);
  Hevra::Proxy::Command::Manager manager(false, "lamps");
  manager.start(true);
  Hevra::Command on;
  on.setWrite(true);
  on.setAddress(0x1001);
  on.setValue(Shared::make<Hevra::HvBool>(true));
  manager.submit(lamp, Hevra::Group("evening"), Hevra::Proxy::CommandContainerList{on}, lamp);
  dispatcher.run();
  if (lamp->outcome.kind == Outcome::Kind::FINISHED) return 0;
  std::fprintf(stderr, "%s\n", lamp->outcome.reason.c_str());
  return 4;
} catch (const std::exception& error) {  // no bus, no service, or the service refuses the command
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
