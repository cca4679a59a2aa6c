// Everything on one thread: a connection, its objects and its asynchronous calls on a dispatcher, with a bus that is
// played by the same thread. A dispatch that waited for the bus would wait for ever.
#include <poll.h>

#include <filesystem>
#include <fstream>

#include <platform/core/Dispatcher.h>
#include <tests/harness/ScriptedBus.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

struct OnOneThread : testing::Test {
  /// Dispatches while there is something to do.
  void settle() {
    pollfd descriptor{dispatcher.getDescriptor(), POLLIN, 0};
    while (::poll(&descriptor, 1, 0) > 0) dispatcher.dispatch();
  }
  void write(const std::string& bytes) {
    bus.write(bytes);
    settle();
  }
  /// Writes the bytes in two parts.
  void writeHalves(const std::string& bytes) {
    write(bytes.substr(0, bytes.size() / 2));
    write(bytes.substr(bytes.size() / 2));
  }
  void greet() {
    settle();
    bus.accept();
    settle();
    EXPECT_TRUE(bus.line().starts_with(std::string("\0AUTH EXTERNAL ", 15)));
    EXPECT_EQ(bus.line(), "BEGIN\r\n");
    writeHalves("OK 1234\r\n");
    writeHalves(replyTo(bus.expect("Hello"), CLIENT, BUS));
  }
  /// The library's threads. Sanitizers and emulators have threads of their own.
  static Texts threads() {
    Texts names;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
      std::string name;
      std::getline(std::ifstream(task.path() / "comm"), name);
      if (name.starts_with("hevra-")) names.push_back(name);
    }
    return names;
  }

  Time::SimulatedClock clock;
  CapturingLogger logger;
  ScriptedBus bus;
  Dispatcher dispatcher;
  TestProxy proxy{Connection::open(bus.address()), SERVICE};
  Recorder<std::string> replies;
};

TEST_F(OnOneThread, NothingWaitsForABusThatIsSlowOrGone) {
  proxy.setDispatcher(dispatcher);
  proxy.start(false);
  greet();
  for (int rules = 0; rules < 2; ++rules) bus.expect("AddMatch");
  writeHalves(ringing("one"));
  EXPECT_EQ(proxy.heard(1), Texts{"one"});

  // A bus that does not read: what does not fit leaves when it reads again.
  bus.narrow();
  const auto call = [&](const std::string& text) {
    proxy.sendAsync(callTo("Echo", text), [&](const auto& result) { replies.add(textOf(result.get())); });
    settle();
  };
  for (const char letter : {'a', 'b'}) call(std::string(20'000, letter));
  for (const char letter : {'a', 'b'}) {
    auto asked = later([&] { return bus.expect("Echo"); });
    while (asked.wait_for(std::chrono::seconds()) != std::future_status::ready) settle();
    const Call received = asked.get();
    EXPECT_EQ(textOf(received), std::string(20'000, letter));
    write(replyTo(received, std::string(1, letter)));
  }
  EXPECT_EQ(replies.take(), (Texts{"a", "b"}));

  // The link comes back, and a deadline passes, without a thread.
  call("lost");
  bus.close();
  settle();
  EXPECT_EQ(replies.take(), Texts{error("Disconnected")});
  greet();
  for (int rules = 0; rules < 2; ++rules) bus.expect("AddMatch");
  call("unanswered");
  clock.advance(Call::DEFAULT_TIMEOUT);
  settle();
  EXPECT_EQ(replies.take(), Texts{error("NoReply")});
  proxy.stop();
  EXPECT_EQ(threads(), Texts());
}

// A caller takes over what the dispatcher has begun, and hooks wait for the next dispatch.
TEST_F(OnOneThread, SynchronousCallsGoOnWithWhatTheDispatcherHasBegun) {
  proxy.setDispatcher(dispatcher);
  proxy.start(false);
  settle();
  auto caller = later([&] { return proxy.ask("Echo", "in between"); });
  bus.greet();
  for (const char* expected : {"AddMatch", "AddMatch"}) bus.expect(expected);
  const Call asked = bus.expect("Echo");
  bus.write(ringing("during"));
  bus.answer(asked, "answered");
  EXPECT_EQ(caller.get(), "answered");
  EXPECT_EQ(proxy.signals.count(), 0U);
  settle();
  EXPECT_EQ(proxy.heard(1), Texts{"during"});
}

}  // namespace
}  // namespace Quarnix::Test
