// The smallest client: sends a command and prints its progress until it ends.
#include <cstdio>
#include <future>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
using namespace Quarnix;

struct Lamp : Hevra::Interface::Command::Originator {
  std::promise<void> done;
  void progress(const Hevra::Command& command, const Hevra::Group&, const HomeAutomation::Command::Status&) override {
    std::puts(command.toString().c_str());
    if (Hevra::Command::isFinalStatus(command.getStatus())) done.set_value();
  }
};

int main() {
  Hevra::Proxy::Command::Manager manager(false, "lamps");
  manager.start(true);
  Hevra::Command on;
  on.setWrite(true);
  on.setAddress(0x1001);
  on.setValue(Shared::make<Hevra::HvBool>(true));
  auto lamp = Shared::make<Lamp>();
  manager.add(lamp, Hevra::Group("evening"), Hevra::Proxy::CommandContainerList{on});
  lamp->done.get_future().wait();
  manager.stop();
}
