// Another client of a real bus that pretends to be the service, or the bus: nothing of it reaches the application.
#include <csignal>
#include <cstdlib>
#include <fstream>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <platform/bus/message/internal/Check.h>
#include <platform/core/time/SimulatedClock.h>
#include <proxy/command/CommandContainerList.h>
#include <tests/harness/BusDaemon.h>
#include <tests/harness/BusObjects.h>
#include <tests/proxy/NodeSupport.h>

namespace Quarnix::Hevra::Proxy {
namespace {

using namespace Test;
using Bus::Message::Signal;

constexpr const char* COMMAND_PATH = "/com/quarnix/Application/HevraZuv/Manager/Command";
constexpr const char* COMMAND_INTERFACE = "com.quarnix.Application.Hevra.Manager.Command";

class Attackers : public testing::Test {
 protected:
  Attackers() {
    commands.setConnection(victim);
    commands.acceptProgressOnlyFromService();
    commands.start(true);
    nodes.setConnection(victim);
    nodes.start(true);
    observer.start();
    answers.start(true);
  }

  static void send(const Shared::Pointer<Bus::Connection>& from, Signal signal, const std::string& to) {
    if (!to.empty()) signal.setDestination(to);
    from->send(signal);
  }
  /// As from the bus: the name belongs to the attacker.
  void stealName(const std::string& to) {
    Signal signal("/org/freedesktop/DBus", "org.freedesktop.DBus", "NameOwnerChanged");
    signal.begin().append(NODE_SERVICE, service->getNameOwner(NODE_SERVICE), attacker->getUniqueName());
    send(attacker, std::move(signal), to);
  }
  static void announce(const Shared::Pointer<Bus::Connection>& from, const std::string& to) {
    Signal exception(COMMAND_PATH, COMMAND_INTERFACE, "exception");
    exception.begin().append("text");
    send(from, std::move(exception), to);
    for (const char* member : {"modified", "linkModified"})
      send(from,
           Quarnix::Test::filled(Signal(NODE_PATH, NODE_INTERFACE, member),
                                 Quarnix::Test::sensorText() + (*member == 'l' ? " (u1 u2 s'link' i0) y1" : " y1")),
           to);
  }
  /// To every call that the victim has made or will soon make.
  void replyToEverything(const char* error) {
    for (std::uint32_t serial = 1; serial <= 200; ++serial) {
      Call guessed = Harness::callTo("guessed");
      const std::string sender = victim->getUniqueName();
      const Bus::Message::Frame frame = guessed.seal(serial, {NODE_PATH, NODE_SERVICE, sender});
      Bus::Message::Header header;
      Bus::Message::readTrustedHeader(frame.data(), frame.size(), header);
      Return reply = error ? Return({frame, header}, error, "forged") : Return(Call(frame, header));
      if (!error) reply.begin().append("forged");
      attacker->send(reply);
    }
  }
  /// The error that it gets, empty for a return.
  std::string report(const Shared::Pointer<Bus::Connection>& from, const Shared::Pointer<Bus::Connection>& to) {
    Call call;
    call.setDestination(to->getUniqueName());
    call.setPath("/com/quarnix/Application/app/Hevra/Originator");
    call.setInterface("com.quarnix.Application.HevraZuv.Originator.Command");
    call.setMember("progress");
    call = reportOf(std::move(call), command);
    return from->call(call)->getErrorName();
  }
  std::string ask() {
    return outcomeOf([this] { return nodes.getNodeLinkId(1, NodeLinkType{}); });
  }
  /// What the application has heard, once everything that was sent to the victim has been dealt with.
  Lines heard() {
    for (const auto& each : {attacker, service, victim}) each->getNameOwner(NODE_SERVICE);
    clock.settle();
    Lines all;
    for (Texts* texts : {&commands.exceptions, &nodes.notifications, &client->reports})
      for (const std::string& text : texts->take()) all.push_back(text);
    for (const std::string& text : observer.changes.take()) all.push_back(text.substr(0, text.find(' ')));
    return all;
  }

  const Hevra::Command command;
  LoggedLines lines;
  Time::SimulatedClock clock;
  // Its own policy would keep replies back that nobody asked for.
  Harness::BusDaemon daemon{Harness::BusDaemon::Begin::STARTED,
                            "<allow send_type=\"method_return\" send_requested_reply=\"false\"/>"
                            "<allow receive_type=\"method_return\" receive_requested_reply=\"false\"/>"
                            "<allow send_type=\"error\" send_requested_reply=\"false\"/>"
                            "<allow receive_type=\"error\" receive_requested_reply=\"false\"/>"};
  const Shared::Pointer<Bus::Connection> victim = Bus::Connection::open(daemon.address()),
                                         service = Bus::Connection::open(daemon.address()),
                                         attacker = Bus::Connection::open(daemon.address());
  // The attacker is told what to reply to, and is faster.
  Harness::TestServer answers{service,
                              [this](Harness::TestServer& self, const Call& call) {
                                Return forged(call), error(call, "test.Error.Forged", "forged");
                                forged.begin().append("forged");
                                attacker->send(forged);
                                attacker->send(error);
                                attacker->getNameOwner(NODE_SERVICE);
                                self.answer(call, "genuine");
                                return true;
                              },
                              NODE_PATH};
  Listening commands{false, "app"};
  Watcher nodes{false};
  Harness::TestObserver observer{victim, {NODE_SERVICE}};
  const Shared::Pointer<Client> client = Shared::make<Client>();
};

TEST_F(Attackers, ReachNothingBeforeDuringAndAfterTheServiceOwnsItsName) {
  const std::string denied = "org.freedesktop.DBus.Error.AccessDenied";
  const std::string unknown = "org.freedesktop.DBus.Error.ServiceUnknown";
  const std::string to = victim->getUniqueName();
  const std::pair<const char*, std::function<void()>> attacks[] = {
      {"signals to all", [&] { announce(attacker, {}); }},
      {"signals to the victim", [&] { announce(attacker, to); }},
      {"a change of the owner to all", [&] { stealName({}); }},
      {"a change of the owner to the victim", [&] { stealName(to); }},
      {"signals after the change", [&] { announce(attacker, to); }},
      {"replies", [&] { replyToEverything(nullptr); }},
      {"error replies", [&] { replyToEverything("test.Error.Forged"); }},
      {"progress", [&] { EXPECT_EQ(report(attacker, victim), denied); }},
  };
  EXPECT_EQ(heard(), (Lines{"connected", "down"}));
  EXPECT_THROW(commands.add(client, Group("g"), CommandContainerList{command}), Return);
  const struct {
    const char* phase;
    std::function<void()> enter;
    Lines told;
    std::string answer;
  } phases[] = {
      {"before", [] {}, {}, unknown},
      {"during", [&] { service->requestName(NODE_SERVICE); }, {"up"}, "genuine"},
      {"after", [&] { service->releaseName(NODE_SERVICE); }, {"down"}, unknown},
  };
  for (const auto& [phase, enter, told, answer] : phases) {
    enter();
    EXPECT_EQ(heard(), told) << phase;
    for (const auto& [what, attack] : attacks) {
      attack();
      EXPECT_EQ(ask(), answer) << what << " " << phase;
      EXPECT_EQ(heard(), Lines()) << what << " " << phase;
    }
    if (answer != "genuine") continue;
    announce(service, to);
    EXPECT_EQ(report(service, victim), "");
    EXPECT_EQ(heard(), (Lines{"text", "modified sensor 1 by 1", "linked sensor 1 link by 1", "g_0 0/2"}));
  }
  // A manager that was never started has told the service where to report.
  Listening idle(false, "idle");
  const auto another = Bus::Connection::open(daemon.address());
  idle.setConnection(another);
  EXPECT_THROW(idle.add(client, Group("g"), CommandContainerList{command}), Return);
  EXPECT_EQ(report(service, another), "org.freedesktop.DBus.Error.UnknownObject");
  EXPECT_EQ(daemon.log().find("Rejected"), std::string::npos) << "the bus kept it back: " << daemon.log();
  EXPECT_EQ(lines.count(), 2u) << "one warning a second, and one of the manager that was never started";
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
  int names[2];
  ASSERT_EQ(::pipe(names), 0);
  const pid_t victim = ::fork();
  if (victim == 0) {
    const auto connection = Bus::Connection::open(daemon.address());
    Listening commands(false, "app");
    commands.setConnection(connection);
    commands.start(true);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) && !defined(__clang__)
    const auto most = static_cast<rlim_t>(sizeOf(::getpid(), "VmSize") + ENOUGH) * 1024;
    const rlimit limit{most, most};
    if (::setrlimit(RLIMIT_AS, &limit) != 0) ::_exit(1);
#endif
    const std::string name = connection->getUniqueName();
    if (::write(names[1], name.c_str(), name.size() + 1) < 0) ::_exit(1);
    for (;;) ::pause();
  }
  ::close(names[1]);
  char name[32] = {};
  ASSERT_GT(::read(names[0], name, sizeof name - 1), 0);
  ::close(names[0]);
  const long before = sizeOf(victim, "VmRSS");
  const auto attacker = Bus::Connection::open(daemon.address());
  for (const std::size_t size : {std::size_t{31} << 20, std::size_t{1'000'000}}) {
    for (int i = 0; i < 12; ++i) {
      Signal signal(COMMAND_PATH, COMMAND_INTERFACE, "exception");
      signal.setDestination(name);
      signal.begin().append(std::string(size / (i < 4 ? 1 : 10), 'x'));
      attacker->send(signal);
      if (i >= 4) continue;
      Call call = Harness::callTo("progress", std::string(size, 'x'));
      call.setPath("/com/quarnix/Application/app/Hevra/Originator");
      call.setDestination(name);
      const std::string outcome = Harness::textOf(attacker->call(call));
      EXPECT_EQ(outcome, Harness::error(size > Bus::Connection::LARGEST_CALL ? "LimitsExceeded" : "UnknownMethod"));
    }
  }
  EXPECT_EQ(attacker->getNameOwner(name), name) << "the link was lost";
  const long grown = sizeOf(victim, "VmHWM") - before;
  RecordProperty("kB", std::to_string(grown));
  EXPECT_LT(grown, ENOUGH);
  ::kill(victim, SIGKILL);
  ::waitpid(victim, nullptr, 0);
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
