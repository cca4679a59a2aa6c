// Which signals reach a proxy, on both buses.
#include <tests/platform/bus/BothBuses.h>

namespace Quarnix::Test {
namespace {

using Texts = std::vector<std::string>;

class Signals : public BothBuses {
 protected:
  static void emit(const Shared::Pointer<Connection>& from, const std::string& text, const char* path = PATH,
                   const char* interface = INTERFACE, const std::string& to = {}) {
    Signal signal = signalOf("Rang", text, path, interface);
    if (!to.empty()) signal.setDestination(to);
    from->send(signal);
    roundTrip(from);
  }
};
HEVRA_ON_BOTH_BUSES(Signals);

TEST_P(Signals, CountOnlyFromTheOwnerOfTheNameAndFromTheObject) {
  const auto service = open(), stranger = open();
  TestProxy proxy(open(), NAME);
  proxy.start(true);
  const std::string listener = proxy.getConnection()->getUniqueName();
  emit(service, "before the name is owned");
  emit(service, "likewise", PATH, INTERFACE, listener);
  service->requestName(NAME);
  emit(service, "a");
  emit(service, "another object", "/test/object/child");
  emit(service, "another interface", PATH, "com.example.Other");
  emit(stranger, "a stranger's");
  emit(stranger, "a stranger's to the listener", PATH, INTERFACE, listener);
  emit(stranger, "a stranger's in the bus's name", "/org/freedesktop/DBus", "org.freedesktop.DBus", listener);
  emit(service, "to the listener", PATH, INTERFACE, listener);
  emit(service, "last");
  EXPECT_EQ(proxy.heard(4), (Texts{"a", "another interface", "to the listener", "last"}));
  EXPECT_STREQ(proxy.signals.all()[1].getInterface(), "com.example.Other");
}

TEST_P(Signals, ReachEveryProxyOfTheObjectAndNoneThatIsStopped) {
  const auto service = open(), shared = open();
  service->requestName(NAME);
  TestProxy stays(shared, NAME), stops(shared, NAME), elsewhere(open(), NAME), later(shared, NAME);
  for (TestProxy* proxy : {&stays, &stops, &elsewhere}) proxy->start(true);
  emit(service, "first");
  EXPECT_EQ(stops.heard(1), Texts{"first"});
  stops.stop();
  later.start(false);
  roundTrip(shared);
  emit(service, "second");
  EXPECT_EQ(stays.heard(2), (Texts{"first", "second"}));
  EXPECT_EQ(elsewhere.heard(2), (Texts{"first", "second"}));
  EXPECT_EQ(later.heard(1), Texts{"second"});
  stops.start(true);
  emit(service, "third");
  EXPECT_EQ(stops.heard(2), (Texts{"first", "third"}));
}

}  // namespace
}  // namespace Quarnix::Test
