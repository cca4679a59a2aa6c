// A process that has no memory or no descriptors left, on both buses: an error to the caller, and all goes on after.
#include <set>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <tests/harness/NoMemory.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

class Exhaustion : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Exhaustion);

TEST_P(Exhaustion, OfMemoryAnywhereLeavesEverythingWhole) {
  if (!daemon_) GTEST_SKIP() << "here the bus is in want of memory itself";
  TestServer server(open());
  TestServer::serve(server, NAME);
  for (const bool isFirstUse : {true, false}) {
    auto connection = open();
    auto proxy = std::make_unique<TestProxy>(connection, NAME);
    const std::string text(1000, 'x');
    const std::function<void()> uses[] = {
        [&] {
          Call call = callTo("Echo", text);
          call.setTimeout(Time::Elapsed(0, 50'000'000));
          proxy->send(call);
        },
        [&] { proxy->start(true); },
        [&] { proxy->stop(); },
        [&] {
          Signal signal = signalOf("Rang", text);
          connection->send(signal);
        },
        [&] { connection->requestName("com.example.Other"); },
        [&] { connection->releaseName("com.example.Other"); },
    };
    for (const auto& use : uses) {
      bool hasFailed = true;
      for (int nth = 0; hasFailed; ++nth) {
        if (isFirstUse) proxy = std::make_unique<TestProxy>(connection = open(), NAME);
        try {
          const NoMemory none(nth);
          try {
            use();
          } catch (...) {
            hasFailed = none.hasFailed();
            throw;
          }
          hasFailed = none.hasFailed();
        } catch (const std::bad_alloc&) {
        } catch (const Bus::StartFailed&) {
        }
        EXPECT_EQ(proxy->ask("Echo", "whole"), "whole") << "use " << &use - uses << ", allocation " << nth;
      }
    }
    proxy->start(true);
    Signal signal = signalOf("Rang", "heard");
    server.send(signal);
    EXPECT_EQ(proxy->heard(1).back(), "heard");
  }
}

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

}  // namespace
}  // namespace Quarnix::Test
