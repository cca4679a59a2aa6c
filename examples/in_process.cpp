// Follows a command and the change that it makes to its node, in one process without a bus daemon: an application, the
// proxies, the in-process bus and the simulated stack service. Prints each step.
#include <cstdarg>
#include <cstdio>
#include <latch>
#include <string>

#include <platform/core/time/Clock.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>
#include <stack/Service.h>

using namespace Quarnix;

namespace {

const Time::Monotonic began = Time::Clock::get().now();

/// Prints a line: the running time, the speaker and the text.
__attribute__((format(printf, 2, 3))) void say(const char* who, const char* format, ...) {
  const auto milliseconds = (Time::Clock::get().now() - began).getNanoseconds() / 1'000'000;
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  std::printf("%5lld ms  %-12s %s\n", static_cast<long long>(milliseconds), who, text);
}

/// Receives the reports of the commands.
class Listener : public Hevra::Interface::Command::Originator {
 public:
  explicit Listener(std::latch& ends) : ends_(ends) {}

  void progress(const Hevra::Command& command, const Hevra::Group& group,
                const HomeAutomation::Command::Status&) override {
    say("originator", "group %s: %s", group.getId().c_str(), command.toString().c_str());
    if (Hevra::Command::isFinalStatus(command.getStatus())) ends_.count_down();
  }

 private:
  std::latch& ends_;
};

/// Receives changes of nodes.
class Watcher : public Hevra::Proxy::Node::Manager {
 public:
  using Manager::Manager;
  ~Watcher() override { stop(); }  // first, so that no hook runs during the destruction

  void modified(const Hevra::Node& node, Hevra::NodeAction action) override {
    say("watcher", "node %x: action %d, its state is %u", static_cast<unsigned>(node.getAddress()),
        static_cast<int>(action), static_cast<unsigned>(node.getState()));
  }
};

Hevra::Command makeCommand(std::uint32_t id, Shared::Pointer<Hevra::HvType> value, std::uint32_t delay) {
  Hevra::Command command;
  command.setId(id);
  command.setAddress(0x123456);
  command.setParameterId(0x100000001);
  command.setWrite(true);
  command.setValue(value);
  command.setDelay(delay, 0);
  return command;
}

}  // namespace

int main() {
  Hevra::Stack::Service stack({}, Bus::Connection::open("in-process"));
  stack.start();
  say("stack", "serves the managers of commands, nodes and the daughter board on the in-process bus");

  Bus::Connection::setDefault(Bus::Connection::open("in-process"));
  Hevra::Proxy::DaughterBoard::Manager board;
  say("application", "asks for a reset of the daughter board");
  say("application", "the answer is %s", board.hardReset() ? "yes" : "no");

  Watcher nodes(false);
  nodes.start(true);
  say("application", "watches the nodes, of which there are %u", static_cast<unsigned>(nodes.getNodes().size()));

  std::latch ends(3);
  Hevra::Proxy::Command::Manager manager(false, "example");
  manager.start(true);
  say("application", "listens for progress at /com/quarnix/Application/example/Hevra/Originator");

  const Hevra::Proxy::CommandContainerList commands{makeCommand(1, Shared::make<Hevra::HvUInt32>(42U), 0),
                                                    makeCommand(2, Shared::make<Hevra::HvBool>(true), 1),
                                                    makeCommand(3, Shared::make<Hevra::HvString>("scene"), 3600)};
  say("application", "adds group g1: a command, one delayed by a second, one delayed by an hour");
  manager.add(Shared::make<Listener>(ends), Hevra::Group("g1"), commands);
  say("application", "the stack has them; cancels the one that would wait for an hour");
  manager.cancel("g1_3");

  ends.wait();
  manager.stop();
  say("application", "every command has ended");
  stack.stop();
}
