// hevra-lamp: an application of a gateway, run by systemd. hevra-lamp.service is its unit.
#include <poll.h>

#include <cstdio>
#include <cstdlib>

#include <examples/gateway/Application.h>
#include <examples/gateway/ServiceManager.h>
#include <examples/loops/StopSignals.h>
#include <platform/core/DescriptorWatch.h>
#include <platform/core/Dispatcher.h>

using namespace Quarnix;

namespace {

/// Ends `run` when SIGTERM or SIGINT comes.
class Stop : public DescriptorWatch {
 public:
  explicit Stop(Dispatcher& dispatcher)
      : DescriptorWatch(dispatcher, openStopSignals(), POLLIN), dispatcher_(dispatcher) {}
  ~Stop() override { retire(); }

 private:
  void ready(short) override {
    retire();
    dispatcher_.quit();
  }

  Dispatcher& dispatcher_;
};

}  // namespace

int main(int count, char** arguments) try {
  if (count != 2) {
    std::fprintf(stderr, "usage: %s ADDRESS, the lamp's, such as 0x1001\n", arguments[0]);
    return 2;
  }
  Dispatcher dispatcher;
  Dispatcher::setDefault(&dispatcher);  // instead of threads: everything runs in `run`
  const Stop stop(dispatcher);
  const ServiceManager serviceManager;
  const Application application(static_cast<std::uint32_t>(std::strtoul(arguments[1], nullptr, 0)), serviceManager);
  dispatcher.run();
  serviceManager.tell("STOPPING=1");
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
