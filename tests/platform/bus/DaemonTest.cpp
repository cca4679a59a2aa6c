// What only a real daemon does: not being there, going, coming back, refusing; and a socket that is shared by a fork.
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

#include <platform/core/time/SimulatedClock.h>
#include <platform/core/timer/Monotonic.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

TEST(Daemon, ThatIsNotThereIsAClearError) {
  BusDaemon daemon(BusDaemon::Begin::STOPPED);
  const std::string reason = "org.freedesktop.DBus.Error.NoServer: Cannot connect to the message bus at " +
                             daemon.address() + ": No such file or directory";
  const auto connection = Connection::open(daemon.address());
  TestProxy proxy(connection, NAME);
  TestServer server(connection);
  EXPECT_EQ(proxy.ask("Echo"), error("NoServer"));
  EXPECT_EQ(failureOf([&] { proxy.start(true); }),
            "Cannot subscribe to /test/object of com.example.Service: " + reason);
  EXPECT_EQ(failureOf([&] { server.start(true); }), "Cannot serve /test/object: " + reason);
  EXPECT_EQ(failureOf([&] { connection->requestName(NAME); }),
            "Cannot own the bus name com.example.Service: " + reason);
  EXPECT_THROW(connection->getUniqueName(), Return);

  daemon.start();
  const auto observer = Connection::open(daemon.address());
  EXPECT_EQ(observer->getUniqueName(), ":1.0") << "something was left half started";
  TestServer::serve(server, NAME);
  proxy.start(true);
  EXPECT_EQ(proxy.ask("Echo", "now"), "now");
}

// The child's end of the socket is the parent's: whatever the child does, the parent must not notice.
TEST(Daemon, IsNotDisturbedByAForkedChild) {
  CapturingLogger logger;
  BusDaemon daemon;
  auto connection = Connection::open(daemon.address());
  auto unused = std::make_unique<TestProxy>(connection, NAME);
  TestServer server(connection);
  TestServer::serve(server, NAME);
  TestProxy proxy(connection, NAME);
  proxy.start(true);
  // In the child, a hook and a timer under way have neither a thread nor an end.
  Gate inside, go;
  auto busy = std::make_unique<TestServer>(
      connection,
      [&](TestServer& self, const Call& call) {
        inside.open();
        EXPECT_TRUE(go.await());
        return TestServer::echo(self, call);
      },
      "/busy");
  busy->start(true);
  const TestProxy toBusy(Connection::open(daemon.address()), NAME, {}, "/busy");
  std::thread caller([&toBusy] { EXPECT_EQ(toBusy.ask("Echo", "held"), "held"); });
  struct Bell : Timer::Monotonic {
    Bell(Gate& entered, Gate& left) : Monotonic({}, true), in(entered), out(left) {}
    ~Bell() override { retire(); }
    void expired(const Time::Monotonic&) override {
      in.open();
      EXPECT_TRUE(out.await());
    }
    Gate &in, &out;
  };
  auto bell = std::make_unique<Bell>(inside, go);
  bell->start();
  ASSERT_TRUE(inside.await(2));
  EXPECT_EQ(unused->ask("Echo", "before"), "before");
  auto other = Connection::open(daemon.address());
  const std::string name = other->getUniqueName();
  const pid_t child = ::fork();
  if (child == 0) {
    int refused = 0;
    const std::function<void()> uses[] = {[&] { proxy.ask("Echo"); }, [&] { server.start(true); },
                                          [&] { connection->requestName("com.example.Other"); },
                                          [&] { other->getUniqueName(); }};
    for (const auto& use : uses) {
      try {
        use();
      } catch (const Bus::UnusableMessage&) {
        ++refused;
      }
    }
    ::alarm(60);
    unused.reset();
    other.reset();
    proxy.stop();
    busy.reset();
    bell.reset();
    // In the child a connection of its own works.
    try {
      Connection::open(daemon.address())->getUniqueName();
      ++refused;
    } catch (const Return&) {
    }
    ::_exit(refused);
  }
  go.open();
  caller.join();
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 5) << status;
  EXPECT_EQ(other->getUniqueName(), name);
  EXPECT_EQ(other->getNameOwner(NAME), connection->getUniqueName());
  Signal signal = signalOf("Rang", "after");
  server.send(signal);
  EXPECT_EQ(proxy.heard(1), std::vector<std::string>{"after"});
  EXPECT_EQ(logger.get(), std::vector<std::string>{});
}

}  // namespace
}  // namespace Quarnix::Test
