// A process that has no descriptors left, or no standard ones, on both buses.
#include <set>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

class Exhaustion : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Exhaustion);

/// The lowest descriptor that is free.
int nextDescriptor() {
  const int descriptor = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(descriptor);
  return descriptor;
}

TEST_P(Exhaustion, OfDescriptorsIsAnErrorAndPasses) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "looking at an object's type takes the sanitizer a descriptor";
#endif
  std::set<int> inherited;
  for (int descriptor = 0; descriptor < 1024; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) == 0) inherited.insert(descriptor);
  TestServer server(open());
  TestServer::serve(server, NAME);
  rlimit former{};
  ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &former), 0);
  bool isEnough = false;
  for (int left = 0; !isEnough; ++left) {
    TestProxy proxy(open(), NAME);
    const int next = nextDescriptor();
    const rlimit tight{static_cast<rlim_t>(next + left), former.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &tight), 0);
    const std::string reply = proxy.ask("Echo", "enough");
    const std::string failure = failureOf([&] { proxy.start(true); });
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &former), 0);
    isEnough = reply == "enough" && failure == "none";
    EXPECT_TRUE(reply == "enough" || reply == error("LimitsExceeded")) << reply;
    EXPECT_TRUE(failure == "none" || failure.find("Too many open files") != std::string::npos) << failure;
    proxy.start(true);
    Signal signal = signalOf("Rang", "heard");
    server.send(signal);
    EXPECT_EQ(proxy.heard(1), std::vector<std::string>{"heard"});
    for (int descriptor = 0; descriptor < next + 32; ++descriptor) {
      const int flags = ::fcntl(descriptor, F_GETFD);
      EXPECT_TRUE(flags < 0 || (flags & FD_CLOEXEC) || inherited.count(descriptor)) << descriptor;
    }
  }
}

// The bus socket was once descriptor 1, so that what the application printed went to the bus.
TEST_P(Exhaustion, OfTheStandardDescriptorsLeavesThemToTheApplication) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "looking at an object's type takes the sanitizer a descriptor";
#endif
  const Time::SimulatedClock clock;
  TestServer server(open());
  TestServer::serve(server, NAME);
  int kept[3], seen[3];
  for (int standard = 0; standard < 3; ++standard) {
    kept[standard] = ::fcntl(standard, F_DUPFD_CLOEXEC, 3);
    ::close(standard);
  }
  TestProxy proxy(open(), NAME);
  proxy.start(true);
  const std::string reply = proxy.ask("Echo", "heard");
  for (int standard = 0; standard < 3; ++standard) {
    seen[standard] = ::fcntl(standard, F_GETFD);
    ::dup2(kept[standard], standard);
    ::close(kept[standard]);
  }
  EXPECT_EQ(reply, "heard");
  for (const int flags : seen) EXPECT_EQ(flags, -1);
}

}  // namespace
}  // namespace Quarnix::Test
