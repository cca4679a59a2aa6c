// hevra-stress SECONDS: runs random concurrent operations: calls, synchronous and asynchronous, submissions and
// cancellations on one manager while reports, signals and expiries arrive, short-lived managers, and hooks that make
// calls and stop their managers. The managers have threads at first, and then a dispatcher, which one more thread runs.
// Run it under a sanitizer. The ledger and this program check the rules that hold in every run.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <thread>
#include <vector>

#include <stress/FastClock.h>
#include <stress/Ledger.h>
#include <stress/Simultaneous.h>
#include <platform/bus/Error.h>
#include <platform/core/Dispatcher.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>
#include <stack/Service.h>
#include <tests/harness/BusDaemon.h>

namespace {

using namespace Quarnix;
using namespace Quarnix::Stress;
using Bus::Message::Method::Return;

// With this factor, a command expires after 600 ms and a call after 250 ms.
constexpr std::int64_t CLOCK_FACTOR = 100;
constexpr std::uint64_t MOST_IN_FLIGHT = 2000;

void pause(int milliseconds) { std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds)); }

/// Finds hooks of one manager that run after `stop` has returned.
class HookCheck {
 public:
  explicit HookCheck(Ledger& ledger) : ledger_(ledger) {}

  /// Runs the body of a hook.
  template <class Body>
  void run(const Body& body) {
    ++inside_;
    ++count;
    if (stopped_) ledger_.violate("a hook ran after stop had returned");
    struct Leave {
      std::atomic<int>& inside;
      ~Leave() { --inside; }
    } leave{inside_};
    body();
  }
  /// Call this after `stop` has returned, on a thread that does not run a task.
  void stopped() {
    stopped_ = true;
    if (inside_ != 0) ledger_.violate("a hook was still running when stop returned");
  }
  /// Call this before `start`.
  void starting() { stopped_ = false; }

  std::atomic<std::uint64_t> count{0};

 private:
  Ledger& ledger_;
  std::atomic<int> inside_{0};
  std::atomic<bool> stopped_{false};
};

/// A command manager whose hooks are checked, and sometimes stop the manager.
class Commands final : public Hevra::Proxy::Command::Manager {
 public:
  Commands(Ledger& ledger, const std::string& name, std::uint32_t stopsOneIn)
      : Manager(false, name), hooks(ledger), stopsOneIn_(stopsOneIn) {}
  ~Commands() override { stopForGood(); }

  void stopForGood() {
    stop();
    hooks.stopped();
  }
  void maybeStop() {
    if (stopsOneIn_ && draw(stopsOneIn_) == 0) stop();
  }

  HookCheck hooks;

 protected:
  void exception(std::string) override {
    hooks.run([this] { maybeStop(); });
  }

 private:
  const std::uint32_t stopsOneIn_;
};

class Nodes final : public Hevra::Proxy::Node::Manager {
 public:
  Nodes(Ledger& ledger, std::uint32_t stopsOneIn) : Manager(false), hooks(ledger), stopsOneIn_(stopsOneIn) {}
  ~Nodes() override {
    stop();
    hooks.stopped();
  }

  HookCheck hooks;

 protected:
  void modified(const Hevra::Node&, Hevra::NodeAction) override {
    hooks.run([this] {
      if (stopsOneIn_ && draw(stopsOneIn_) == 0) stop();
    });
  }

 private:
  const std::uint32_t stopsOneIn_;
};

/// All operations, on one bus.
class Workload {
 public:
  Workload(Ledger& ledger, std::string where, bool isDispatched) : ledger_(ledger), where_(std::move(where)) {
    if (isDispatched) dispatcher_.emplace();
    place(shared_, open());
    place(nodes_, shared_.getConnection());
    place(board_, shared_.getConnection());
  }

  /// Calls `everySecond` about once a second.
  template <class Callback>
  void run(int seconds, const Callback& everySecond) {
    std::thread loop;
    if (dispatcher_) loop = std::thread([this] { dispatcher_->run(); });
    Hevra::Stack::Service service(faults(), open());
    service.start();
    shared_.start(true);
    nodes_.start(true);
    for (int i = 0; i < 3; ++i) repeat([this] { submit(shared_, 8); });
    repeat([this] { cancel(); });
    repeat([this] { call(); });
    repeat([this, &service] { announce(service); });
    for (int i = 0; i < 2; ++i) repeat([this] { useCommandManager(); });
    repeat([this] { useNodeManager(); });
    for (int second = 0; second < seconds; ++second) {
      pause(1000);
      everySecond();
      if (second % 3 != 2) continue;
      service.stop();
      service.start();
    }
    over_ = true;
    for (std::thread& worker : workers_) worker.join();
    ledger_.awaitNoneInFlight(30);
    service.stop();
    if (dispatcher_) dispatcher_->quit();
    if (loop.joinable()) loop.join();
    if (heard_ > begun_) ledger_.violate("an asynchronous call was heard twice");
    std::printf(
        "%s\n  %llu calls, %llu asynchronous, of which %llu were heard, %llu error replies, %llu failed starts, %llu "
        "command managers and %llu node "
        "managers created and destroyed, %llu hooks\n",
        ledger_.summary().c_str(), number(calls_), number(begun_), number(heard_), number(errors_),
        number(failedStarts_), number(commandManagers_), number(nodeManagers_),
        number(hooks_) + number(shared_.hooks.count) + number(nodes_.hooks.count));
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
  template <class Manager>
  void place(Manager& manager, const Shared::Pointer<Bus::Connection>& connection) {
    if (dispatcher_) manager.setDispatcher(*dispatcher_);
    manager.setConnection(connection);
  }

  /// Starts a thread that repeats `body` until the end of the run.
  template <class Body>
  void repeat(Body body) {
    workers_.emplace_back([this, body] {
      while (!over_) attempt(body);
    });
  }
  /// Error replies and failed starts are expected while the service stops and starts.
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
    const bool taken = Batch::submit(ledger_, manager, "g" + std::to_string(++groups_), 1 + draw(most),
                                     [this, &manager](const auto& command, const auto& group) {
                                       manager.hooks.run([&] { react(manager, command, group); });
                                     });
    if (!taken) ++errors_;
    return taken;
  }
  /// Acts as an application in its callback.
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
    if (draw(4) == 0) return callLater();
    if (draw(8) == 0) {
      nodes_.introspect();
    } else if (nodes_.getNodes().empty()) {
      ledger_.violate("a house without nodes");
    }
  }
  /// Begins calls, and gives some of them up.
  void callLater() {
    for (std::uint32_t i = draw(300); i > 0; --i) {
      ++begun_;
      Bus::PendingCall call =
          nodes_.getNodeLinkIdAsync(0x1001, Hevra::NodeLinkType::CONTROL, [this](const auto& result) {
            ++heard_;
            attempt([&] { result.get(); });
          });
      if (draw(4) == 0) call.giveUp();
    }
  }
  void announce(Hevra::Stack::Service& service) {
    const Hevra::Stack::AnyNode node = *service.getNodes().find(0x1001);
    for (int i = 0; i < 20; ++i) {
      service.announceException("signal");
      service.getNodes().modify(node, Hevra::NodeAction::MODIFIED);
    }
    pause(2);  // otherwise, the process would mostly handle signals
  }
  /// Uses a command manager that is stopped at random: by its hooks, by this thread, or by its destruction.
  void useCommandManager() {
    const std::string name = "m" + std::to_string(++commandManagers_);
    Commands manager(ledger_, name, draw(2) * 8);
    place(manager, draw(2) ? shared_.getConnection() : open());
    for (std::uint32_t times = 1 + draw(2); times > 0; --times) {
      manager.hooks.starting();
      manager.start(draw(3) != 0);
      submit(manager, 4);
      for (std::uint32_t turns = draw(200); turns > 0; --turns) std::this_thread::yield();
      if (draw(3) != 0) manager.stopForGood();
    }
    hooks_ += manager.hooks.count;
  }
  void useNodeManager() {
    ++nodeManagers_;
    Nodes nodes(ledger_, draw(2) * 4);
    place(nodes, draw(2) ? shared_.getConnection() : open());
    nodes.start(draw(3) != 0);
    for (std::uint32_t turns = draw(200); turns > 0; --turns) std::this_thread::yield();
    hooks_ += nodes.hooks.count;
  }

  Ledger& ledger_;
  const std::string where_;
  std::atomic<bool> over_{false};
  std::optional<Dispatcher> dispatcher_;
  Counter begun_{0}, heard_{0}, groups_{0}, calls_{0}, errors_{0}, failedStarts_{0}, commandManagers_{0},
      nodeManagers_{0}, hooks_{0};
  Commands shared_{ledger_, "shared", 0};
  Nodes nodes_{ledger_, 0};
  Hevra::Proxy::DaughterBoard::Manager board_;
  std::vector<std::thread> workers_;
};

bool run(int seconds) {
  Ledger instants;
  meetSimultaneously(instants, 100'000);

  // Never destroyed: the timers' thread uses it until the process ends.
  Time::Clock::install(new FastClock(CLOCK_FACTOR));
  bool isSound = instants.isSound();
  for (const bool isDispatched : {false, true}) {
    const char* const how = isDispatched ? " with a dispatcher" : "";
    Ledger ledger;
    {
      CountingLogger logger(ledger);
      std::printf("on the in-process bus%s: ", how);
      Workload(ledger, "in-process", isDispatched).run(seconds / 4, [] {});
      std::printf("%s", logger.summary().c_str());
    }
    Ledger overDaemon;
    {
      CountingLogger logger(overDaemon);
      Harness::BusDaemon daemon;
      int second = 0;
      std::printf("on a bus daemon%s: ", how);
      Workload(overDaemon, daemon.address(), isDispatched).run(seconds / 4, [&] {
        if (++second % 3 != 0) return;
        daemon.kill();
        daemon.start();
      });
      std::printf("%s", logger.summary().c_str());
    }
    isSound = isSound && ledger.isSound() && overDaemon.isSound();
  }
  return isSound;
}

}  // namespace

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 30;
  if (seconds < 4) return std::fprintf(stderr, "hevra-stress: expected SECONDS, at least 4\n"), 2;
  const bool sound = run(seconds);
  std::printf("%s\n", sound ? "sound" : "VIOLATED");
  return sound ? 0 : 1;
}
