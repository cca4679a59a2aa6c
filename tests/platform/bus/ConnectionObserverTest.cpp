// What an observer hears of its connection and of services, on both buses.
#include <future>

#include <platform/core/time/SimulatedClock.h>
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* OTHER = "com.example.Other";

class Observers : public BothBuses {};
HEVRA_ON_BOTH_BUSES(Observers);

TEST_P(Observers, HearFirstOfWhatIsAndThenOfEveryChange) {
  const auto connection = open(), first = open(), second = open();
  const std::string link = "connected " + connection->getUniqueName(), down = std::string("down ") + NAME;
  const std::string up = std::string("up ") + NAME + " ", downOther = std::string("down ") + OTHER;
  TestObserver early(connection, {NAME, OTHER}), late(connection, {NAME});
  early.start();
  EXPECT_EQ(early.heard(3), (Texts{link, down, downOther}));
  first->requestName(NAME);
  EXPECT_EQ(early.heard(1), Texts{up + first->getUniqueName()});
  late.start();
  early.start();
  EXPECT_EQ(late.heard(2), (Texts{link, up + first->getUniqueName()}));
  first->releaseName(NAME);
  EXPECT_EQ(early.heard(1), Texts{down});
  EXPECT_EQ(late.heard(1), Texts{down});
  late.stop();
  second->requestName(NAME);
  EXPECT_EQ(early.heard(1), Texts{up + second->getUniqueName()});
  EXPECT_EQ(late.changes.take(), Texts{});
  late.start();
  EXPECT_EQ(late.heard(2), (Texts{link, up + second->getUniqueName()}));
  for (const char* name : {"no name", ":1.1", "org.freedesktop.DBus"})
    EXPECT_THROW(TestObserver(connection, {OTHER, name}).start(), Bus::InvalidArgument) << name;
}

TEST_P(Observers, AreNotNeededByAThreadThatAsksOrWaitsForTheService) {
  const auto connection = open(), service = open();
  const TestProxy proxy(connection, NAME);
  const Time::Monotonic now = Time::Clock::get().now(), never = now + Time::Elapsed(1'000'000, 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_FALSE(proxy.isAvailable());
    EXPECT_FALSE(proxy.waitForService(now));
    auto waiting = std::async(std::launch::async, [&] { return proxy.waitForService(never); });
    service->requestName(NAME);
    EXPECT_TRUE(waiting.get());
    EXPECT_TRUE(proxy.isAvailable());
    service->releaseName(NAME);
    roundTrip(connection);
  }
}

TEST_P(Observers, ThatAreSlowHoldUpNobodyAndMissNoLoss) {
  const auto connection = open(), service = open();
  const std::string down = std::string("down ") + NAME, up = std::string("up ") + NAME + " " + service->getUniqueName();
  Gate inside, go;
  TestObserver observer(connection, {NAME}, [&](TestObserver& self, const std::string& change) {
    if (change != up) return;
    if (inside.count() == 1) self.stop();
    inside.open();
    EXPECT_TRUE(go.await());
  });
  const std::string link = "connected " + connection->getUniqueName();
  observer.start();
  TestServer server(service);
  ASSERT_TRUE(observer.changes.awaitAny([&](const std::string& change) { return change == down; }));
  TestServer::serve(server, NAME);
  ASSERT_TRUE(inside.await());
  for (int i = 0; i < 3; ++i) {
    service->releaseName(NAME);
    service->requestName(NAME);
    EXPECT_EQ(TestProxy(connection, NAME).ask("Echo", "meanwhile"), "meanwhile");
  }
  go.open();
  ASSERT_TRUE(inside.await(2));
  service->releaseName(NAME);
  roundTrip(connection);
  EXPECT_EQ(observer.changes.take(), (Texts{link, down, up, down, up}));
  observer.start();
  EXPECT_EQ(observer.heard(2), (Texts{link, down}));
}

TEST(DaemonObserver, WaitsForTheBusWithPausesThatGrowToFiveSeconds) {
  Time::SimulatedClock clock;
  BusDaemon daemon(BusDaemon::Begin::STOPPED);
  TestObserver observer(Connection::open(daemon.address()), {NAME});
  observer.start();
  EXPECT_EQ(observer.heard(2), (Texts{"lost: it was not reached yet", std::string("down ") + NAME}));
  // From 50 ms they double seven times; jitter takes a quarter of each at the most.
  std::size_t attempts = 0;
  for (int second = 0; second < 100; ++second) {
    clock.awaitWaiters(1);
    attempts += clock.advance(Time::Elapsed(1, 0));
  }
  EXPECT_GE(attempts, 100u / 6);
  EXPECT_LE(attempts, 8 + 100u * 4 / 15);
  clock.awaitWaiters(1);
  daemon.start();
  clock.advance(Time::Elapsed(5, 0));
  EXPECT_EQ(observer.heard(1), Texts{"connected :1.0"});
}

}  // namespace
}  // namespace Quarnix::Test
