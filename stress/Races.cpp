// hevra-stress SECONDS: everything that may run at once, does: calls, submissions and cancellations on one manager
// while reports, signals and expiries come in, managers that come and go, hooks that call back and that stop their
// managers. To be run under a sanitizer; what it does is random, what must hold is checked by the ledger and here.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include <stress/FastClock.h>
#include <stress/Ledger.h>
#include <stress/Simultaneous.h>
#include <platform/bus/Error.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>
#include <stack/Service.h>
#include <tests/harness/BusDaemon.h>

namespace {

using namespace Quarnix;
using namespace Quarnix::Stress;
using Bus::Message::Method::Return;

// The wait for a first report takes 600 ms then, that for a reply 250 ms.
constexpr std::int64_t TIMES = 100;
constexpr std::uint64_t MOST_IN_FLIGHT = 2000;

void pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

/// Finds a hook of one manager that runs although `stop` has returned.
class Silence {
 public:
  explicit Silence(Ledger& ledger) : ledger_(ledger) {}

  /// Around the body of every hook.
  template <class Body>
  void hook(const Body& body) {
    ++inside_;
    ++hooks;
    if (silent_) ledger_.violate("a hook ran after stop had returned");
    struct Leave {
      std::atomic<int>& inside;
      ~Leave() { --inside; }
    } leave{inside_};
    body();
  }
  /// After `stop` returned on a thread that is no task's, until the manager is started again.
  void begin() {
    silent_ = true;
    if (inside_ != 0) ledger_.violate("a hook was still running when stop returned");
  }
  void end() { silent_ = false; }

  std::atomic<std::uint64_t> hooks{0};

 private:
  Ledger& ledger_;
  std::atomic<int> inside_{0};
  std::atomic<bool> silent_{false};
};

/// A command manager whose hooks look at the silence, and now and then stop the manager.
class Commands final : public Hevra::Proxy::Command::Manager {
 public:
  Commands(Ledger& ledger, const std::string& name, std::uint32_t stopsOneIn)
      : Manager(false, name), silence(ledger), stopsOneIn_(stopsOneIn) {}
  ~Commands() override { stopForGood(); }

  void stopForGood() {
    stop();
    silence.begin();
  }
  void maybeStop() {
    if (stopsOneIn_ && draw(stopsOneIn_) == 0) stop();
  }

  Silence silence;

 protected:
  void exception(std::string) override {
    silence.hook([this] { maybeStop(); });
  }

 private:
  const std::uint32_t stopsOneIn_;
};

class Nodes final : public Hevra::Proxy::Node::Manager {
 public:
  Nodes(Ledger& ledger, std::uint32_t stopsOneIn) : Manager(false), silence(ledger), stopsOneIn_(stopsOneIn) {}
  ~Nodes() override {
    stop();
    silence.begin();
  }

  Silence silence;

 protected:
  void modified(const Hevra::Node&, Hevra::NodeAction) override {
    silence.hook([this] {
      if (stopsOneIn_ && draw(stopsOneIn_) == 0) stop();
    });
  }

 private:
  const std::uint32_t stopsOneIn_;
};

/// Everything on one bus.
class Storm {
 public:
  Storm(Ledger& ledger, std::string where) : ledger_(ledger), where_(std::move(where)) {
    shared_.setConnection(open());
    nodes_.setConnection(shared_.getConnection());
    board_.setConnection(shared_.getConnection());
  }

  /// `meanwhile` is called about once a second.
  template <class Meanwhile>
  void run(int seconds, const Meanwhile& meanwhile) {
    Hevra::Stack::Service service(faults(), open());
    service.start();
    shared_.start(true);
    nodes_.start(true);
    for (int i = 0; i < 3; ++i) work([this] { submit(shared_, 8); });
    work([this] { cancel(); });
    work([this] { call(); });
    work([this, &service] { announce(service); });
    for (int i = 0; i < 2; ++i) work([this] { liveShortly(); });
    work([this] { watchShortly(); });
    for (int second = 0; second < seconds; ++second) {
      pause(1000);
      meanwhile();
      if (second % 3 != 2) continue;
      service.stop();
      service.start();
    }
    over_ = true;
    for (std::thread& worker : workers_) worker.join();
    ledger_.awaitNoneInFlight(30);
    service.stop();
    std::printf(
        "%s\n  %llu calls, %llu error replies, %llu failed starts, %llu command managers and %llu node "
        "managers came and went, %llu hooks\n",
        ledger_.summary().c_str(), number(calls_), number(errors_), number(failedStarts_), number(lives_),
        number(watches_), number(hooks_) + number(shared_.silence.hooks) + number(nodes_.silence.hooks));
  }

 private:
  using Counter = Ledger::Counter;
  static unsigned long long number(const Counter& counter) { return counter; }

  static Hevra::Stack::Options faults() {
    Hevra::Stack::Options options;
    options.pace = Time::Elapsed();
    options.drop = 0.2;
    options.fail = 0.1;
    options.refuse = 0.02;
    options.silent = 0.002;
    options.duplicate = 0.2;
    return options;
  }
  Shared::Pointer<Bus::Connection> open() const { return Bus::Connection::open(where_); }

  template <class Body>
  void work(Body body) {
    workers_.emplace_back([this, body] {
      while (!over_) attempt(body);
    });
  }
  /// Error replies and starts that fail are to be expected of a service that comes and goes.
  template <class Body>
  void attempt(const Body& body) {
    try {
      ++calls_;
      body();
    } catch (const Return&) {
      ++errors_;
    } catch (const Bus::StartFailed&) {
      ++failedStarts_;
    } catch (const std::exception& error) {
      ledger_.violate(std::string("raised: ") + error.what());
    }
  }

  bool submit(Commands& manager, std::uint32_t most) {
    if (ledger_.inFlight() > MOST_IN_FLIGHT) {
      pause(1);
      return false;
    }
    ++calls_;
    const bool taken = Order::submit(ledger_, manager, "g" + std::to_string(++groups_), 1 + draw(most),
                                     [this, &manager](const auto& command, const auto& group) {
                                       manager.silence.hook([&] { react(manager, command, group); });
                                     });
    if (!taken) ++errors_;
    return taken;
  }
  /// What an application does in its callback.
  void react(Commands& manager, const Hevra::Command& command, const Hevra::Group& group) {
    manager.maybeStop();
    if (draw(1000) == 0) throw std::runtime_error("of an application's callback");
    const std::string key = group.getId() + "_" + std::to_string(command.getId());
    switch (draw(64)) {
      case 0:
        return static_cast<void>(submit(manager, 2));
      case 1:
        return attempt([&] { manager.cancel(key); });
      case 2:
        return attempt([&] { board_.hardReset(); });
      default:
        return;
    }
  }
  void cancel() {
    switch (draw(200)) {
      case 0:
        return shared_.cancel();
      case 1:
        return shared_.cancel(HomeAutomation::Command::Priority(draw(8)));
      default:
        return shared_.cancel("g" + std::to_string(groups_) + "_" + std::to_string(draw(8)));
    }
  }
  void call() {
    if (draw(8) == 0) {
      nodes_.introspect();
    } else if (nodes_.getNodes().empty()) {
      ledger_.violate("a house without nodes");
    }
  }
  void announce(Hevra::Stack::Service& service) {
    const Hevra::Stack::AnyNode node = *service.getNodes().find(0x1001);
    for (int i = 0; i < 20; ++i) {
      service.announceException("signal");
      service.getNodes().modify(node, Hevra::NodeAction::MODIFIED);
    }
    pause(2);  // the signals would leave no room for anything else
  }
  /// A manager that is stopped at any moment: by its hooks, from here, or by its end.
  void liveShortly() {
    const std::string name = "m" + std::to_string(++lives_);
    Commands manager(ledger_, name, draw(2) * 8);
    manager.setConnection(draw(2) ? shared_.getConnection() : open());
    for (std::uint32_t times = 1 + draw(2); times > 0; --times) {
      manager.silence.end();
      manager.start(draw(3) != 0);
      submit(manager, 4);
      for (std::uint32_t turns = draw(200); turns > 0; --turns) std::this_thread::yield();
      if (draw(3) != 0) manager.stopForGood();
    }
    hooks_ += manager.silence.hooks;
  }
  void watchShortly() {
    ++watches_;
    Nodes nodes(ledger_, draw(2) * 4);
    nodes.setConnection(draw(2) ? shared_.getConnection() : open());
    nodes.start(draw(3) != 0);
    for (std::uint32_t turns = draw(200); turns > 0; --turns) std::this_thread::yield();
    hooks_ += nodes.silence.hooks;
  }

  Ledger& ledger_;
  const std::string where_;
  std::atomic<bool> over_{false};
  Counter groups_{0}, calls_{0}, errors_{0}, failedStarts_{0}, lives_{0}, watches_{0}, hooks_{0};
  Commands shared_{ledger_, "shared", 0};
  Nodes nodes_{ledger_, 0};
  Hevra::Proxy::DaughterBoard::Manager board_;
  std::vector<std::thread> workers_;
};

bool run(int seconds) {
  Ledger instants;
  meetSimultaneously(instants, 100'000);

  Time::Clock::install(new FastClock(TIMES));  // for ever: the timers' thread waits on it while the process ends
  Ledger ledger;
  {
    CountingLogger logger(ledger);
    std::printf("on the in-process bus: ");
    Storm(ledger, "in-process").run(seconds / 2, [] {});
    std::printf("%s", logger.summary().c_str());
  }
  Ledger overDaemon;
  {
    CountingLogger logger(overDaemon);
    Harness::BusDaemon daemon;
    int second = 0;
    std::printf("on a bus daemon: ");
    Storm(overDaemon, daemon.address()).run(seconds / 2, [&] {
      if (++second % 4 != 0) return;
      daemon.kill();
      daemon.start();
    });
    std::printf("%s", logger.summary().c_str());
  }
  return instants.isSound() && ledger.isSound() && overDaemon.isSound();
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 30;
  if (seconds < 2) return std::fprintf(stderr, "hevra-stress: expected SECONDS, at least 2\n"), 2;
  const bool sound = run(seconds);
  std::printf("%s\n", sound ? "sound" : "VIOLATED");
  return sound ? 0 : 1;
}
