// Without an event loop: sends two delayed commands and cancels one. Prints each report and how each command ends.
#include <cstdio>
#include <latch>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
using namespace Quarnix;
using Hevra::Proxy::Command::Outcome;

class Shutters : public Hevra::Interface::Command::Originator, public Hevra::Proxy::Command::OutcomeObserver {
 public:
  void progress(const Hevra::Command& command, const Hevra::Group&, const HomeAutomation::Command::Status&) override {
    std::printf("command %u: status %d\n", unsigned{command.getId()}, static_cast<int>(command.getStatus()));
  }
  void ended(const Hevra::Group&, std::uint32_t id, const Outcome& outcome) override {
    if (outcome.kind == Outcome::Kind::FINISHED)
      std::printf("command %u: ended with %d\n", unsigned{id}, static_cast<int>(outcome.status));
    else
      std::printf("command %u: %s\n", unsigned{id}, outcome.reason.c_str());
    ends.count_down();
  }

  std::latch ends{2};
};

int main() try {
  const auto shutters = Shared::make<Shutters>();
  Hevra::Proxy::Command::Manager manager(false, "shutters");
  manager.start(true);
  Hevra::Command soon;
  soon.setId(1);
  soon.setAddress(0x1001);
  soon.setDelay(1, 0);  // seconds
  Hevra::Command late = soon;
  late.setId(2);
  late.setDelay(3600, 0);
  const Hevra::Proxy::CommandContainerList commands{soon, late};
  manager.submitAsync(shutters, Hevra::Group("evening"), commands, shutters, Time::Elapsed(5, 0)).get();
  manager.cancelAsync("evening_2").get();
  shutters->ends.wait();
} catch (const std::exception& error) {  // no bus, no service, no answer within 5 seconds, or a refusal
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
