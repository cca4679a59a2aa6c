// Which signals reach a proxy, and what an observer hears of its connection and of services, on both buses.
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

const std::string DOWN = std::string("down ") + NAME;

std::string up(const Shared::Pointer<Connection>& service) {
  return std::string("up ") + NAME + " " + service->getUniqueName();
}

class Listening : public BothBuses {
 protected:
  static void emit(const Shared::Pointer<Connection>& from, const std::string& text, const std::string& to = {},
                   const char* path = PATH, const char* interface = INTERFACE) {
    Signal signal = signalOf("Rang", text, path, interface);
    if (!to.empty()) signal.setDestination(to);
    from->send(signal);
    roundTrip(from);
  }
  const Shared::Pointer<Connection> connection = open(), service = open(), other = open();
  const std::string us = connection->getUniqueName(), link = "connected " + us;
};
HEVRA_ON_BOTH_BUSES(Listening);

TEST_P(Listening, ProxiesHearTheirObjectFromTheOwnerOfTheName) {
  TestProxy proxy(connection, NAME);
  proxy.start(true);
  emit(service, "before the name is owned");
  emit(service, "likewise", us);
  service->requestName(NAME);
  emit(service, "a");
  emit(service, "another object", {}, "/test/object/child");
  emit(service, "another interface", {}, PATH, "com.example.Other");
  emit(other, "a stranger's");
  emit(other, "a stranger's to the listener", us);
  emit(other, "a stranger's in the bus's name", us, "/org/freedesktop/DBus", "org.freedesktop.DBus");
  emit(service, "to the listener", us);
  emit(service, "last");
  EXPECT_EQ(proxy.heard(4), (Texts{"a", "another interface", "to the listener", "last"}));
}

TEST_P(Listening, ProxiesOfAnObjectHearAlikeUntilTheyAreStopped) {
  service->requestName(NAME);
  TestProxy stays(connection, NAME), stops(connection, NAME), elsewhere(other, NAME), later(connection, NAME);
  for (TestProxy* proxy : {&stays, &stops, &elsewhere}) proxy->start(true);
  emit(service, "first");
  EXPECT_EQ(stops.heard(1), Texts{"first"});
  stops.stop();
  later.start(false);
  roundTrip(connection);
  emit(service, "second");
  for (TestProxy* proxy : {&stays, &elsewhere}) EXPECT_EQ(proxy->heard(2), (Texts{"first", "second"}));
  EXPECT_EQ(later.heard(1), Texts{"second"});
  stops.start(true);
  emit(service, "third");
  EXPECT_EQ(stops.heard(2), (Texts{"first", "third"}));
}

TEST_P(Listening, SlowObserversHoldUpNobodyAndMissNoLoss) {
  for (const char* name : {"no name", ":1.1", "org.freedesktop.DBus"})
    EXPECT_THROW(TestObserver(connection, {NAME, name}).start(), Bus::InvalidArgument) << name;
  Gate inside, go;
  TestObserver observer(connection, {NAME}, [&](TestObserver& self, const std::string& change) {
    if (change != up(service)) return;
    if (inside.count() == 1) self.stop();
    inside.open();
    EXPECT_TRUE(go.await());
  });
  observer.start();
  ASSERT_TRUE(observer.changes.await(2));
  const Service server(service);
  ASSERT_TRUE(inside.await());
  for (int i = 0; i < 3; ++i) {
    service->releaseName(NAME);
    service->requestName(NAME);
    roundTrip(connection);  // the bus may hold the news back until the call has left, and then they seem newer than it
    EXPECT_EQ(TestProxy(connection, NAME).ask("Echo", "meanwhile"), "meanwhile");
  }
  go.open();
  ASSERT_TRUE(inside.await(2));
  service->releaseName(NAME);
  roundTrip(connection);
  EXPECT_EQ(observer.changes.take(), (Texts{link, DOWN, up(service), DOWN, up(service)}));
  observer.start();
  EXPECT_EQ(observer.heard(2), (Texts{link, DOWN}));
}

TEST(DaemonObserver, WaitsForTheBusWithPausesThatGrowToFiveSeconds) {
  Time::SimulatedClock clock;
  BusDaemon daemon(BusDaemon::Begin::STOPPED);
  TestObserver observer(Connection::open(daemon.address()), {NAME});
  observer.start();
  EXPECT_EQ(observer.heard(2), (Texts{"lost: it was not reached yet", DOWN}));
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
