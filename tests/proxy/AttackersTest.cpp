// Another client of a real bus that pretends to be the service, or the bus: nothing of it reaches the application.
#include <csignal>
#include <cstdlib>
#include <fstream>

#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <bus/RemoteSensorNodeWrapper.h>
#include <platform/core/time/SimulatedClock.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/harness/BusDaemon.h>
#include <tests/harness/BusObjects.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using namespace std::string_literals;
using Bus::Message::Signal;

TEST(Attackers, ReachNothingBeforeDuringAndAfterTheServiceOwnsItsName) {
  const LoggedLines lines;
  Time::SimulatedClock clock;
  // Its own policy would keep replies back that nobody asked for.
  Harness::BusDaemon daemon(Harness::BusDaemon::Begin::STARTED,
                            "<allow send_type=\"method_return\" send_requested_reply=\"false\"/>"
                            "<allow receive_type=\"method_return\" receive_requested_reply=\"false\"/>"
                            "<allow send_type=\"error\" send_requested_reply=\"false\"/>"
                            "<allow receive_type=\"error\" receive_requested_reply=\"false\"/>");
  const auto victim = Bus::Connection::open(daemon.address()), service = Bus::Connection::open(daemon.address()),
             attacker = Bus::Connection::open(daemon.address());
  // The attacker is told what to reply to, and is faster.
  const auto race = [&](Harness::TestServer& self, const Call& call) {
    Return forged(call), error(call, "test.Error.Forged", "forged");
    forged.begin().append("forged");
    attacker->send(forged);
    attacker->send(error);
    attacker->getNameOwner(SERVICE);
    self.answer(call, "genuine");
    return true;
  };
  Harness::TestServer answers(service, race, NODE_PATH);
  answers.start(true);
  Listening commands(false, "app");
  commands.setConnection(victim);
  commands.acceptProgressOnlyFromService();
  commands.start(true);
  Watcher nodes(false);
  nodes.setConnection(victim);
  nodes.start(true);
  const auto client = Shared::make<Client>();
  EXPECT_THROW(commands.add(client, Group("g"), CommandContainerList{Hevra::Command()}), Return);

  // To all, and to the victim.
  const auto announce = [&](const auto& from, const char* path, const char* interface, const char* member,
                            const std::function<void(Bus::Message::Iterator&)>& append) {
    for (const std::string& to : {""s, victim->getUniqueName()}) {
      Signal signal(path, interface, member);
      Bus::Message::Iterator arguments = signal.begin();
      append(arguments);
      if (!to.empty()) signal.setDestination(to);
      from->send(signal);
    }
  };
  const auto announceAll = [&](const auto& from) {
    announce(from, COMMAND_PATH, COMMAND_INTERFACE, "exception", [](auto& arguments) { arguments.append("text"); });
    announce(from, NODE_PATH, NODE_INTERFACE, "modified", [](auto& arguments) {
      Bus::Type::StructWrapper<RemoteSensorNode>().serialize(arguments, RemoteSensorNode());
      arguments.append(std::uint8_t{1});
    });
  };
  const auto report = [&](const auto& from) -> std::string {
    Call call = reportOf(callBack(victim->getUniqueName()), Hevra::Command());
    return from->call(call)->getErrorName();
  };
  // Once everything that was sent to the victim has been dealt with.
  const auto heard = [&] {
    for (const auto& each : {attacker, service, victim}) each->getNameOwner(SERVICE);
    clock.settle();
    return std::tuple(commands.exceptions.take(), nodes.notifications.take(), client->reports.take());
  };
  for (const char* phase : {"before", "during", "after"}) {
    SCOPED_TRACE(phase);
    if (*phase == 'd') service->requestName(SERVICE);
    if (*phase == 'a') service->releaseName(SERVICE);
    announceAll(attacker);
    announce(attacker, "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged", [&](auto& arguments) {
      for (const auto& text : {std::string(SERVICE), service->getNameOwner(SERVICE), attacker->getUniqueName()})
        arguments.append(text);
    });
    announceAll(attacker);
    EXPECT_EQ(report(attacker), "org.freedesktop.DBus.Error.AccessDenied");
    EXPECT_EQ(outcomeOf([&] { return nodes.getNodeLinkId(1, NodeLinkType{}); }),
              *phase == 'd' ? "genuine" : "org.freedesktop.DBus.Error.ServiceUnknown");
    EXPECT_EQ(heard(), std::tuple(Lines(), Lines(), Lines()));
    if (*phase != 'd') continue;
    announceAll(service);
    EXPECT_EQ(report(service), "");
    EXPECT_EQ(heard(), std::tuple(Lines(2, "text"), Lines(2, "modified sensor 0 by 1"), Lines{"g_0 0/2"}));
  }
  EXPECT_EQ(daemon.log().find("Rejected"), std::string::npos) << "the bus kept it back: " << daemon.log();
  EXPECT_EQ(lines.count(), 1u) << "one warning a second";
}

/// A figure of a process in kB, such as its greatest resident size.
long sizeOf(pid_t process, const std::string& figure) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with(figure + ":")) return std::atol(line.c_str() + figure.size() + 1);
  return 0;
}

// Four calls took 250 MB, and a message that did not fit cost the link.
TEST(Floods, OfLargeMessagesCostNeitherMemoryNorTheLink) {
  constexpr long ENOUGH = 40 * 1024;
  const Harness::BusDaemon daemon;
  const pid_t victim = ::fork();
  if (victim == 0) {
    ::mallopt(M_ARENA_MAX, 1);  // another would reserve more than the limit, and allocations fail while it tries
    const auto connection = Bus::Connection::open(daemon.address());
    Listening commands(false, "app");
    commands.setConnection(connection);
    commands.start(true);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
    const auto most = static_cast<rlim_t>(sizeOf(::getpid(), "VmSize") + ENOUGH) * 1024;
    const rlimit limit{most, most};
    if (::setrlimit(RLIMIT_AS, &limit) != 0) ::_exit(1);
#endif
    connection->requestName(Harness::NAME);
    for (;;) ::pause();
  }
  const Time::SimulatedClock clock;  // no call times out
  const auto attacker = Bus::Connection::open(daemon.address());
  std::string name;
  while (name.empty()) name = attacker->getNameOwner(Harness::NAME);
  const long before = sizeOf(victim, "VmRSS");
  for (const std::size_t size : {std::size_t{31} << 20, std::size_t{1'000'000}}) {
    for (int i = 0; i < 12; ++i) {
      Signal signal(COMMAND_PATH, COMMAND_INTERFACE, "exception");
      signal.setDestination(name);
      signal.begin().append(std::string(size / (i < 4 ? 1 : 10), 'x'));
      attacker->send(signal);
      if (i >= 4) continue;
      Call call = callBack(name);
      call.begin().append(std::string(size, 'x'));
      const std::string outcome = Harness::textOf(attacker->call(call));
      EXPECT_EQ(outcome, Harness::error(size > Bus::Connection::LARGEST_CALL ? "LimitsExceeded" : "UnknownMethod"));
    }
  }
  EXPECT_EQ(attacker->getNameOwner(Harness::NAME), name) << "the link was lost";
  const long grown = sizeOf(victim, "VmHWM") - before;
  RecordProperty("kB", std::to_string(grown));
  EXPECT_LT(grown, ENOUGH);
  ::kill(victim, SIGKILL);
  ::waitpid(victim, nullptr, 0);
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
