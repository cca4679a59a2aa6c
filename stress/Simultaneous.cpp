// Lets two threads report commands while the timers' thread handles their expiries, all at the same deadline.
#include <stress/Simultaneous.h>

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <stress/Reports.h>
#include <platform/bus/Connection.h>
#include <platform/bus/object/Server.h>
#include <platform/core/time/SimulatedClock.h>
#include <platform/core/timer/Monotonic.h>
#include <proxy/command/Manager.h>
#include <stack/Variant.h>

namespace Quarnix::Stress {

namespace {

constexpr std::uint32_t ROUND = 100;
constexpr Time::Elapsed UNTIL_EXPIRY(60, 0);

/// A stack service that accepts commands and reports nothing.
class SilentStack final : public Bus::Object::Server {
 public:
  SilentStack() {
    setConnection(Bus::Connection::open("in-process"));
    setPath(Hevra::Stack::COMMAND_PATH);
    start(true);
    getConnection()->requestName(busNameOf(Hevra::Stack::Variant::HEVRA));
  }
  ~SilentStack() override { retire(); }

 private:
  bool method(const Bus::Message::Method::Call& call) override {
    Bus::Message::Method::Return reply(call);
    send(reply);
    return true;
  }
};

/// Counts its expiries on the timers' thread, which then handles those of the commands.
class StartingShot final : public Timer::Monotonic {
 public:
  StartingShot() : Timer::Monotonic(Time::Monotonic(UNTIL_EXPIRY), true) {}
  ~StartingShot() override { retire(); }
  std::atomic<std::uint64_t> shots{0};

 private:
  void expired(const Time::Monotonic&) override {
    ++shots;
    shots.notify_all();
  }
};

Bus::Message::Method::Call makeFinalReport(const std::string& client, std::uint64_t round, std::uint32_t id) {
  Hevra::Command command;
  command.setId(id);
  command.setStatus(Hevra::HvDetailedCommandStatus::COMPLETED);
  return makeReport(client, "instant", command, Hevra::Group("r" + std::to_string(round)));
}

}  // namespace

void meetSimultaneously(Ledger& ledger, std::uint64_t commands) {
  const std::uint64_t rounds = commands / ROUND;
  CountingLogger logger(ledger);
  Time::SimulatedClock clock;
  SilentStack stack;
  Hevra::Proxy::Command::Manager manager(false, "instant");
  manager.setConnection(Bus::Connection::open("in-process"));
  manager.start(true);
  const std::string name = manager.getConnection()->getUniqueName();

  StartingShot shot;
  std::atomic<std::uint64_t> reported{0};
  std::vector<std::thread> reporters;
  for (const bool odd : {false, true}) {
    reporters.emplace_back([&, odd] {
      const auto connection = Bus::Connection::open("in-process");
      for (std::uint64_t round = 0; round < rounds; ++round) {
        // In the order of the expiries or in the opposite order, so that the two meet at any command.
        const bool backwards = draw(2);
        std::vector<Bus::Message::Method::Call> calls;
        for (std::uint32_t i = odd; i < ROUND; i += 2)
          calls.push_back(makeFinalReport(name, round, backwards ? ROUND - 1 - i : i));
        shot.shots.wait(round);
        for (Bus::Message::Method::Call& call : calls) connection->call(call);
        ++reported;
        reported.notify_all();
      }
    });
  }
  for (std::uint64_t round = 0; round < rounds; ++round) {
    shot.start();
    Batch::submit(ledger, manager, "r" + std::to_string(round), ROUND);
    clock.advance(UNTIL_EXPIRY);
    for (std::uint64_t seen = reported; seen < 2 * (round + 1); seen = reported) reported.wait(seen);
    clock.settle();
    if (ledger.inFlight() != 0) ledger.violate(std::to_string(ledger.inFlight()) + " commands did not leave");
  }
  for (std::thread& reporter : reporters) reporter.join();
  std::printf("expiry and progress at the same instant: %s\n%s", ledger.summary().c_str(), logger.summary().c_str());
}

}  // namespace Quarnix::Stress
