// A process that forks, and one that has no descriptors left.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <optional>
#include <set>

#include <tests/platform/bus/BothBuses.h>
#include <tests/platform/core/Support.h>

namespace Quarnix::Test {
namespace {

// The child's end of the socket is the parent's: whatever the child does, the parent must not notice.
TEST(Daemon, IsNotDisturbedByAForkedChild) {
  CapturingLogger logger;
  BusDaemon daemon;
  const auto open = [&] { return Connection::open(daemon.address()); };
  auto connection = open(), other = open();
  std::optional<TestProxy> unused(std::in_place, connection, NAME);
  Service server(connection);
  TestProxy proxy(connection, NAME);
  proxy.start(true);
  // In the child, a hook and a timer under way have neither a thread nor an end.
  Gate inside, go;
  const auto hold = [&](auto&...) {
    inside.open();
    return go.await();
  };
  std::optional<TestServer> busy(std::in_place, connection, hold, "/busy");
  busy->start(true);
  Call call = callTo("Hold");
  call.setNoReplyExpected();
  TestProxy(connection, NAME, {}, "/busy").send(call);
  std::optional<TestTimer> timer(std::in_place, Time::Elapsed(), hold);
  timer->start();
  ASSERT_TRUE(inside.await(2));
  EXPECT_EQ(unused->ask("Echo", "before"), "before");
  const std::string name = other->getUniqueName();
  const pid_t child = ::fork();
  if (child == 0) {
    ::alarm(300);
    EXPECT_THROW(proxy.ask("Echo"), Bus::UnusableMessage);
    EXPECT_THROW(server.start(true), Bus::UnusableMessage);
    EXPECT_THROW(connection->requestName("com.example.Other"), Bus::UnusableMessage);
    EXPECT_THROW(other->getUniqueName(), Bus::UnusableMessage);
    unused.reset();
    other.reset();
    proxy.stop();
    busy.reset();
    timer.reset();
    EXPECT_NE(open()->getUniqueName(), name) << "a connection of its own works";
    ::_exit(HasFailure());
  }
  go.open();
  int status = 0;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  EXPECT_EQ(other->getUniqueName(), name);
  EXPECT_EQ(other->getNameOwner(NAME), connection->getUniqueName());
  server.ring("after");
  EXPECT_EQ(proxy.heard(1), Texts{"after"});
  EXPECT_EQ(logger.get(), Texts{});
}

class Descriptors : public BothBuses {
#ifdef __SANITIZE_ADDRESS__
  void SetUp() override { GTEST_SKIP() << "looking at an object's type takes the sanitizer a descriptor"; }
#endif
};
HEVRA_ON_BOTH_BUSES(Descriptors);

TEST_P(Descriptors, AreAnErrorWhereNoneIsLeft) {
  std::set<int> inherited;
  for (int descriptor = 0; descriptor < 1024; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) == 0) inherited.insert(descriptor);
  Service server(open());
  rlimit former{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
  bool isEnough = false;
  for (rlim_t left = 0; !isEnough; ++left) {
    TestProxy proxy(open(), NAME);
    const int next = ::dup(STDERR_FILENO);
    ::close(next);
    const rlimit tight{static_cast<rlim_t>(next) + left, former.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    const std::string reply = proxy.ask("Echo", "enough");
    const std::string failure = failureOf([&] { proxy.start(true); });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
    isEnough = reply == "enough" && failure == "none";
    EXPECT_TRUE(reply == "enough" || reply == error("LimitsExceeded")) << reply;
    EXPECT_TRUE(failure == "none" || failure.find("Too many open files") != std::string::npos) << failure;
    proxy.start(true);
    server.ring("heard");
    EXPECT_EQ(proxy.heard(1), Texts{"heard"});
    for (int descriptor = 0; descriptor < next + 32; ++descriptor) {
      const int flags = ::fcntl(descriptor, F_GETFD);
      EXPECT_TRUE(flags < 0 || (flags & FD_CLOEXEC) || inherited.count(descriptor)) << descriptor;
    }
  }
}

}  // namespace
}  // namespace Quarnix::Test
