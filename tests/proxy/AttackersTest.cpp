// Another client of a real bus that pretends to be the service, or the bus: nothing of it reaches the application.
#include <platform/bus/message/Codec.h>
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
  std::string report(const Shared::Pointer<Bus::Connection>& from) {
    Call call;
    call.setDestination(victim->getUniqueName());
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
      {"progress", [&] { EXPECT_EQ(report(attacker), denied); }},
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
    EXPECT_EQ(report(service), "");
    EXPECT_EQ(heard(), (Lines{"text", "modified sensor 1 by 1", "linked sensor 1 link by 1", "g_0 0/2"}));
  }
  EXPECT_EQ(daemon.log().find("Rejected"), std::string::npos) << "the bus kept it back: " << daemon.log();
  EXPECT_EQ(lines.count(), 1u) << "one warning a second";
}

}  // namespace
}  // namespace Quarnix::Hevra::Proxy
