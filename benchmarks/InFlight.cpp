// Measures many commands in flight: the time to add, re-arm and expire them, and the memory of each.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>
#include <string>
#include <vector>

#include <benchmarks/ProcessStatus.h>
#include <platform/bus/Connection.h>
#include <platform/bus/object/Server.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/SimulatedClock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/Variant.h>

namespace {

using namespace Quarnix;

const std::string SERVICE = busNameOf(Hevra::Stack::Variant::HEVRA);

/// Drops the lines that time-outs log.
class SilentLogger : public Log::Logger {
  void write(Log::Priority, const char*) override {}
};

/// A stack service that answers at once.
class Stack : public Bus::Object::Server {
 public:
  explicit Stack(const Shared::Pointer<Bus::Connection>& connection) {
    setConnection(connection);
    setPath(Hevra::Stack::COMMAND_PATH);
    start(true);
    // An "add" may carry 100,000 commands.
    connection->setLargestMessage(std::size_t{64} << 20, Bus::Connection::LARGEST_REPLY);
    setLargestQueue(MAXIMUM_QUEUED_MESSAGES, std::size_t{64} << 20);
    connection->requestName(SERVICE);
  }
  ~Stack() override { retire(); }

 protected:
  bool method(const Bus::Message::Method::Call& call) override {
    Bus::Message::Method::Return reply(call);
    send(reply);
    return true;
  }
};

class Ignore : public Hevra::Interface::Command::Originator {
  void progress(const Hevra::Command&, const Hevra::Group&, const HomeAutomation::Command::Status&) override {}
};

class IgnoreEnds : public Hevra::Proxy::Command::OutcomeObserver {
  void ended(const Hevra::Group&, std::uint32_t, const Hevra::Proxy::Command::Outcome&) override {}
};

std::size_t heapBytes() { return mallinfo2().uordblks; }

/// A client and a service on the in-process bus, with a simulated clock.
struct House {
  explicit House(std::int64_t count) {
    manager.setConnection(client);
    for (std::int64_t i = 0; i < count; ++i) {
      Hevra::Command command;
      command.setId(static_cast<std::uint32_t>(i));
      commands.append(command);
    }
  }

  /// Adds all commands, with an observer of their ends if one is given.
  void add(const Shared::Pointer<Hevra::Proxy::Command::OutcomeObserver>& observer = {}) {
    commands.reset();
    const std::size_t before = heapBytes();
    manager.submit(originator, Hevra::Group("g1"), commands, observer);
    clock.settle();
    bytes = heapBytes() - before;
  }

  Time::SimulatedClock clock;
  Shared::Pointer<Bus::Connection> service = Bus::Connection::open("in-process");
  Shared::Pointer<Bus::Connection> client = Bus::Connection::open("in-process");
  Stack stack{service};
  Hevra::Proxy::Command::Manager manager{false, "bench"};
  Shared::Pointer<Hevra::Interface::Command::Originator> originator{new Ignore};
  Hevra::Proxy::CommandContainerList commands;
  std::size_t bytes = 0;
};

void silence() { Log::Logger::set(Shared::Pointer<Log::Logger>(new SilentLogger)); }

void add(benchmark::State& state, const Shared::Pointer<Hevra::Proxy::Command::OutcomeObserver>& observer) {
  silence();
  std::size_t bytes = 0;
  for (auto _ : state) {
    state.PauseTiming();
    auto house = std::make_unique<House>(state.range(0));
    state.ResumeTiming();
    house->add(observer);
    state.PauseTiming();
    bytes = house->bytes;
    house.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
  state.counters["bytes_each"] = static_cast<double>(bytes) / static_cast<double>(state.range(0));
}

void addCommands(benchmark::State& state) { add(state, {}); }
BENCHMARK(addCommands)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Adds commands with an observer of their ends.
void submitCommands(benchmark::State& state) { add(state, Shared::make<IgnoreEnds>()); }
BENCHMARK(submitCommands)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();

void rearmCommands(benchmark::State& state) {
  silence();
  House house(state.range(0));
  house.add();
  for (auto _ : state) house.add();
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(rearmCommands)->Arg(1000)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

/// Also measures how much the process grows in the second round, and in the second half of the rounds, when all arenas
/// of malloc have their final size. These figures are valid only if nothing else ran in the process before.
void expireCommands(benchmark::State& state) {
  silence();
  House house(state.range(0));
  std::vector<long> sizes;
  long threads = 0;
  for (auto _ : state) {
    state.PauseTiming();
    house.add();
    threads = Benchmarks::processStatus("Threads:");
    state.ResumeTiming();
    house.clock.advance(Time::Elapsed(60, 0));
    state.PauseTiming();
    sizes.push_back(Benchmarks::processStatus("VmRSS:"));
    state.ResumeTiming();
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
  state.counters["process_threads"] = static_cast<double>(threads);
  state.counters["second_round_KiB"] = static_cast<double>(sizes[1] - sizes[0]);
  state.counters["later_round_KiB"] = static_cast<double>(sizes.back() - sizes[sizes.size() / 2]);
}
BENCHMARK(expireCommands)
    ->Arg(100000)
    ->Arg(10000)
    ->Arg(1000)
    ->Iterations(24)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
