// Waits for the service, prints when it comes and goes, and ends after the first change of a node.
#include <cstdio>
#include <future>
#include <platform/bus/ConnectionObserver.h>
#include <platform/core/time/Clock.h>
#include <proxy/node/Manager.h>
using namespace Quarnix;

class House : public Hevra::Proxy::Node::Manager {
 public:
  using Manager::Manager;
  ~House() override { stop(); }  // first, so that no hook runs during the destruction

  void modified(const Hevra::Node& node, Hevra::NodeAction) override {
    std::printf("node 0x%x has changed\n", unsigned{node.getAddress()});
    if (!heard_) change.set_value();
    heard_ = true;
  }

  std::promise<void> change;

 private:
  bool heard_ = false;  // used only in the hook, which runs on one thread at a time
};

class Presence : public Bus::ConnectionObserver {
 public:
  using ConnectionObserver::ConnectionObserver;
  ~Presence() override { retire(); }

 protected:
  void serviceUp(const std::string& name, const std::string&) override { say(name, "is there"); }
  void serviceDown(const std::string& name) override { say(name, "has gone"); }

 private:
  static void say(const std::string& name, const char* what) {
    std::printf("%s %s\n", name.c_str(), what);
    std::fflush(stdout);
  }
};

int main() {
  House house(false);
  Presence presence(house);
  presence.start();
  if (!house.waitForService(Time::Clock::get().now() + Time::Elapsed(60, 0))) return 4;
  house.start(true);
  std::puts("watching");
  std::fflush(stdout);
  house.change.get_future().wait();
}
