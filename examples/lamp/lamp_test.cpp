// Tests the lamp without a bus, a radio or real time. It uses no test framework, but would work with any.
#include <poll.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include <examples/lamp/Lamp.h>
#include <platform/core/Dispatcher.h>
#include <stack/FakeStack.h>

using namespace std::chrono_literals;
using Quarnix::Hevra::Stack::Effect;
using Quarnix::Hevra::Stack::FakeStack;
namespace Time = Quarnix::Time;

namespace {

int failures = 0;

void check(bool holds, const char* what, const std::string& given) {
  if (holds) return;
  std::printf("not so: %s; given: %s\n", what, given.c_str());
  ++failures;
}

void switchesOn() {
  FakeStack stack;
  Lamp lamp(0x1001);
  lamp.turnOn();
  check(lamp.getState() == "switching", "it takes its time", lamp.getState());
  stack.advance(1s);
  check(lamp.getState() == "on", "it is on in the end", lamp.getState());
  check(stack.stateOf(0x1001) == 1u, "its node is on, too", "another state");
}

void triesOnceMoreWhenTheRadioIsSilent() {
  FakeStack stack;
  stack.plan({{.on = "progress", .command = 1, .effect = Effect::silence()}});
  Lamp lamp(0x1001);
  lamp.turnOn();
  stack.advance(60s);
  const std::vector<std::string> sent = stack.takeCommands();
  check(sent == std::vector<std::string>{"lamp_1 writes true to 0x1001", "lamp_2 writes true to 0x1001"},
        "it has sent two commands", std::to_string(sent.size()));
  stack.advance(1s);
  check(lamp.getState() == "on", "the second was heard", lamp.getState());
}

void saysWhyItIsNotOn() {
  FakeStack stack;
  Lamp lamp(0x1001);
  lamp.turnOn();
  stack.restart(10s);
  check(lamp.getState() != "switching", "it knows that the service has lost the command", lamp.getState());
  stack.advance(10s);
  lamp.turnOn();
  stack.advance(1s);
  check(lamp.getState() == "on", "the service is back", lamp.getState());
}

/// What an application on a dispatcher does, it does in `advance`, on the test's thread.
class DispatchedStack {
 public:
  /// Lets the time pass from one deadline to the next, and runs what is due at each.
  void advance(std::chrono::nanoseconds span) {
    const Time::Monotonic end = stack.clock().now() + Time::Elapsed::ofNanoseconds(span.count());
    while (true) {
      pollfd ready{dispatcher_.getDescriptor(), POLLIN, 0};
      for (stack.settle(); ::poll(&ready, 1, 0) == 1; stack.settle()) dispatcher_.dispatch();
      const Time::Monotonic now = stack.clock().now();
      if (now == end) return;
      stack.clock().advance(std::min(dispatcher_.getDeadline(), end) - now);
    }
  }

 private:
  struct DefaultDispatcher : Quarnix::Dispatcher {
    DefaultDispatcher() { setDefault(this); }
  };
  DefaultDispatcher dispatcher_;  // before the stack, which then has no threads either

 public:
  FakeStack stack;
};

void worksOnADispatcher() {
  DispatchedStack house;
  house.stack.plan({{.on = "progress", .command = 1, .effect = Effect::silence()}});
  Lamp lamp(0x1001);
  lamp.turnOn();
  house.advance(59s);
  check(lamp.getState() == "switching", "it waits for a report", lamp.getState());
  house.advance(2s);
  check(lamp.getState() == "on", "the second command was heard", lamp.getState());
}

}  // namespace

int main() {
  switchesOn();
  triesOnceMoreWhenTheRadioIsSilent();
  saysWhyItIsNotOn();
  worksOnADispatcher();
  return failures == 0 ? 0 : 1;
}
