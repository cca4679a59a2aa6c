// The common part of all peers' programs: verbs, clocks and figures. A peer provides the operations that Program lists.
#pragma once

#include <sched.h>
#include <time.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <functional>
#include <initializer_list>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <benchmarks/peers/Wire.h>

namespace Peers {

inline void require(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

/// The time of a clock in microseconds.
inline double microseconds(clockid_t clock) {
  timespec time{};
  ::clock_gettime(clock, &time);
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}
inline double wall() { return microseconds(CLOCK_MONOTONIC); }
inline double cpu() { return microseconds(CLOCK_PROCESS_CPUTIME_ID); }

inline double quantile(std::vector<double> values, double which) {
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(which * static_cast<double>(values.size() - 1))];
}

inline void print(std::initializer_list<std::pair<const char*, double>> figures) {
  const char* separator = "{";
  for (const auto& [name, value] : figures) {
    std::printf("%s\"%s\": %.4f", separator, name, value);
    separator = ", ";
  }
  std::puts("}");
}

/// Runs `work` three times to warm up, then `count` times. Prints the times of these runs.
template <class Work>
void repeat(std::uint32_t count, const Work& work) {
  for (int i = 0; i < 3; ++i) work();
  std::vector<double> times;
  times.reserve(count);
  const double cpuBefore = cpu();
  for (std::uint32_t i = 0; i < count; ++i) {
    const double before = wall();
    work();
    times.push_back(wall() - before);
  }
  const double used = cpu() - cpuBefore;
  print({{"us", quantile(times, 0.5)}, {"p99", quantile(times, 0.99)}, {"cpu", used / count}});
}

/// Runs one verb of a peer's program, PROGRAM VERB ADDRESS COUNT [SIZE], and prints its figures in microseconds.
///
/// A Peer has its own connection and these members:
///   Node                       the type of a decoded node
///   SHARED                     tells whether threads share one connection
///   Peer(const std::string& address)
///   prepare(Commands&&)        converts the commands to the form that users of the library have
///   encode(prepared)           builds the call "add", makes it ready to send, and drops it
///   send(prepared)             builds the same call, sends it, and waits for the answer
///   add(prepared)              does the same through the function that an application calls
///   receive(iteration, count)  makes a received list of sensors; checks it only if the library checks early
///   decode(received)           reads the list into nodes, with every check that the library makes
///   call()                     calls "hardreset"
///   list()                     calls "getnodes" and reads the answer into nodes
///   signals(count, use)        lets the service send "modified", and passes every node to `use` until the last one
///   same(node, sensor)         tells whether a decoded node has the sensor's values
///
/// A Peer may have more of them:
///   start()                    starts managers
///   useLoop()                  lets the process have one thread, with an event loop
///   calls(count, width)        makes calls of "hardreset" from one thread, keeping `width` in flight until all are
///   over encodeReport(prepared)     builds the call "progress" of the first command, makes it ready to send, and drops
///   it sendReport(prepared)       builds the same call, sends it, and waits for the answer receiveAdd(prepared) makes
///   a received "add", as `receive` makes a list decodeAdd(received)        reads the commands, with every check that
///   the library makes same(decoded, command)     tells whether a decoded command has the command's values
template <class Peer>
class Program {
 public:
  explicit Program(const std::string& address) : address_(address), peer_(address) {}

  /// Sends commands, which the service records for a comparison, and checks the values of decoded nodes.
  void check() {
    for (const std::uint32_t count : {0u, 1u, 1000u})
      for (const std::uint32_t iteration : {7u, 4000000000u}) {
        auto prepared = peer_.prepare(commands(iteration, count));
        peer_.send(prepared);
        auto again = peer_.prepare(commands(iteration + 1, count));
        peer_.add(again);
      }
    for (const std::uint32_t count : {0u, 1u, 1000u}) {
      auto received = peer_.receive(3, count);
      compare(peer_.decode(received), 3, count);
    }
    for (std::uint32_t i = 0; i < 10; ++i) compare(peer_.list(), i % 8, 1000);
    require(peer_.call(), "the answer to a call was no");
    std::uint32_t next = 0;
    peer_.signals(100, [&](const auto& node) {
      require(Peer::same(node, sensor(next, next)), "a signal has other values");
      ++next;
    });
    require(next == 100, "signals were lost");
  }

  /// Does the same as `check` with reports, and with commands that were received.
  void checkReports() {
    if constexpr (requires(Prepared prepared) { peer_.sendReport(prepared); })
      for (std::uint32_t iteration = 0; iteration < 100; ++iteration) {
        auto prepared = peer_.prepare(commands(iteration, 1));
        peer_.sendReport(prepared);
      }
    if constexpr (requires(Prepared prepared) { peer_.receiveAdd(prepared); })
      for (const std::uint32_t count : {0u, 1u, 1000u}) {
        auto prepared = peer_.prepare(commands(3, count));
        auto received = peer_.receiveAdd(prepared);
        compare(peer_.decodeAdd(received), commands(3, count).list);
      }
  }

  template <Errors ERRORS = Errors::HALF, Labels LABELS = Labels::USUAL>
  void encode(std::uint32_t count, std::uint32_t size) {
    timeBatches(
        count, size,
        [&](std::uint32_t i) {
          return peer_.prepare(commands(i, size, {ERRORS, LABELS}));
        },
        [&](auto& prepared) { peer_.encode(prepared); });
  }

  void decodeAdd(std::uint32_t count, std::uint32_t size) {
    if constexpr (requires(Prepared prepared) { peer_.receiveAdd(prepared); })
      timeBatches(
          count, size,
          [&](std::uint32_t iteration) {
            auto prepared = peer_.prepare(commands(iteration, size));
            return peer_.receiveAdd(prepared);
          },
          [&](auto& received) { require(peer_.decodeAdd(received).size() == size, "commands are missing"); });
  }

  /// Measures the encoding of one report.
  void report(std::uint32_t count, std::uint32_t) {
    if constexpr (requires(Prepared prepared) { peer_.encodeReport(prepared); })
      timeBatches(
          count, 1, [&](std::uint32_t iteration) { return peer_.prepare(commands(iteration, 1)); },
          [&](auto& prepared) { peer_.encodeReport(prepared); });
  }

  void decode(std::uint32_t count, std::uint32_t size) {
    timeBatches(
        count, size, [&](std::uint32_t iteration) { return peer_.receive(iteration, size); },
        [&](auto& received) { require(peer_.decode(received).size() == size, "nodes are missing"); });
  }

  void call(std::uint32_t count, std::uint32_t) {
    repeat(count, [&] { require(peer_.call(), "the answer to a call was no"); });
  }

  /// Measures `call` in a process with started managers.
  void callStarted(std::uint32_t count, std::uint32_t size) {
    if constexpr (requires { peer_.start(); }) peer_.start();
    call(count, size);
  }

  /// Measures new connections: each from nothing to the answer to its first call.
  void first(std::uint32_t count, std::uint32_t) {
    std::vector<double> times;
    double cpuUsed = 0;
    for (std::uint32_t i = 0; i < count + 1; ++i) {
      const double cpuBefore = cpu(), before = wall();
      Peer fresh(address_);
      require(fresh.call(), "the answer to a call was no");
      if (i == 0) continue;  // it warms up
      times.push_back(wall() - before);
      cpuUsed += cpu() - cpuBefore;
    }
    print({{"us", quantile(times, 0.5)}, {"cpu", cpuUsed / count}});
  }

  /// Calls once. Whoever starts the process measures it.
  void once(std::uint32_t, std::uint32_t) { require(peer_.call(), "the answer to a call was no"); }

  void list(std::uint32_t count, std::uint32_t) {
    repeat(count, [&] { require(peer_.list().size() == 1000, "nodes are missing"); });
  }

  void add(std::uint32_t count, std::uint32_t size) {
    std::vector<Prepared> inputs;
    inputs.reserve(count + 3);
    for (std::uint32_t i = 0; i < count + 3; ++i) inputs.push_back(peer_.prepare(commands(i, size)));
    auto input = inputs.begin();
    repeat(count, [&] { peer_.add(*input++); });
  }

  void signals(std::uint32_t count, std::uint32_t) {
    std::uint32_t received = 0;
    peer_.signals(10, [&](const auto&) {});
    const double cpuBefore = cpu(), wallBefore = wall();
    peer_.signals(count, [&](const auto&) { ++received; });
    const double cpuUsed = cpu() - cpuBefore, passed = wall() - wallBefore;
    print({{"us", passed / count}, {"cpu", cpuUsed / count}, {"lost", count - received}});
  }

  /// Measures `signals` in a process whose only thread has an event loop.
  void signalsInLoop(std::uint32_t count, std::uint32_t size) {
    if constexpr (requires { peer_.useLoop(); }) peer_.useLoop();
    signals(count, size);
  }

  /// Measures `count` asynchronous calls, `size` of them in flight, in a process whose only thread has an event loop.
  void async(std::uint32_t count, std::uint32_t size) {
    if constexpr (requires { peer_.useLoop(); }) peer_.useLoop();
    if constexpr (requires { peer_.calls(count, size); }) {
      peer_.calls(size, size);
      const double cpuBefore = cpu(), wallBefore = wall();
      peer_.calls(count, size);
      const double cpuUsed = cpu() - cpuBefore, passed = wall() - wallBefore;
      print({{"us", passed / count}, {"cpu", cpuUsed / count}, {"rate", count / passed * 1e6}});
    }
  }

  /// Measures `count` calls in total from `size` threads.
  void threads(std::uint32_t count, std::uint32_t size) {
    std::vector<std::vector<double>> times(size);
    std::atomic<std::uint32_t> ready{0};
    std::atomic<bool> go{false};
    std::vector<std::thread> callers;
    for (auto& mine : times)
      callers.emplace_back([&, count] {
        std::optional<Peer> own;
        if constexpr (!Peer::SHARED) own.emplace(address_);
        Peer& used = own ? *own : peer_;
        mine.reserve(count / size);
        used.call();
        ++ready;
        while (!go) ::sched_yield();
        for (std::uint32_t i = 0; i < count / size; ++i) {
          const double before = wall();
          require(used.call(), "the answer to a call was no");
          mine.push_back(wall() - before);
        }
      });
    while (ready != size) ::sched_yield();
    const double cpuBefore = cpu(), wallBefore = wall();
    go = true;
    for (auto& caller : callers) caller.join();
    const double passed = wall() - wallBefore, used = cpu() - cpuBefore;
    std::vector<double> all;
    for (const auto& mine : times) all.insert(all.end(), mine.begin(), mine.end());
    const auto calls = static_cast<double>(all.size());
    print({{"us", quantile(all, 0.5)},
           {"p99", quantile(all, 0.99)},
           {"cpu", used / calls},
           {"rate", calls / passed * 1e6}});
  }

 private:
  using Prepared = decltype(std::declval<Peer&>().prepare(Commands()));

  template <class Decoded>
  void compare(const Decoded& decoded, const std::vector<Command>& expected) {
    require(decoded.size() == expected.size(), "a list of commands has another length");
    for (std::size_t i = 0; i < expected.size(); ++i)
      require(Peer::same(decoded[i], expected[i]), "a command has other values");
  }

  template <class Nodes>
  void compare(const Nodes& nodes, std::uint32_t iteration, std::uint32_t count) {
    require(nodes.size() == count, "a list has another length");
    for (std::uint32_t i = 0; i < count; ++i)
      require(Peer::same(*nodes[i], sensor(iteration, i)), "a node has other values");
  }

  /// Measures `work` on inputs that are used once. All are made beforehand, so that between two measurements nothing
  /// changes the heap. Measures processor time, because other processes affect it least.
  template <class Prepare, class Work>
  void timeBatches(std::uint32_t count, std::uint32_t size, const Prepare& prepare, const Work& work) {
    const std::uint32_t batch = std::max(1u, 256 / size), total = (count + 3) * batch;
    std::vector<decltype(prepare(0))> inputs;
    inputs.reserve(total);
    for (std::uint32_t i = 0; i < total; ++i) inputs.push_back(prepare(i));
    std::vector<double> times;
    for (auto input = inputs.begin(); input != inputs.end();) {
      const double before = cpu();
      for (std::uint32_t i = 0; i < batch; ++i) work(*input++);
      times.push_back((cpu() - before) / batch);
    }
    times.erase(times.begin(), times.begin() + 3);
    print({{"us", quantile(times, 0.5)}});
  }

  std::string address_;
  Peer peer_;
};

template <class Peer>
int run(int argc, char** argv) try {
  require(argc >= 4, "expected a verb, the bus's address, a count and perhaps a size");
  const std::string verb = argv[1];
  const auto count = static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10));
  const auto size = argc > 4 ? static_cast<std::uint32_t>(std::strtoul(argv[4], nullptr, 10)) : 1;
  Program<Peer> program(argv[2]);
  using Verb = void (Program<Peer>::*)(std::uint32_t, std::uint32_t);
  constexpr std::pair<const char*, Verb> VERBS[] = {
      {"encode", &Program<Peer>::template encode<>},
      {"encode-plain", &Program<Peer>::template encode<Errors::NONE>},
      {"encode-errors", &Program<Peer>::template encode<Errors::ALL>},
      {"encode-short-labels", &Program<Peer>::template encode<Errors::HALF, Labels::SHORT>},
      {"encode-long-labels", &Program<Peer>::template encode<Errors::HALF, Labels::LONG>},
      {"decode", &Program<Peer>::decode},
      {"decode-add", &Program<Peer>::decodeAdd},
      {"report", &Program<Peer>::report},
      {"call", &Program<Peer>::call},
      {"call-started", &Program<Peer>::callStarted},
      {"first", &Program<Peer>::first},
      {"once", &Program<Peer>::once},
      {"list", &Program<Peer>::list},
      {"add", &Program<Peer>::add},
      {"signals", &Program<Peer>::signals},
      {"threads", &Program<Peer>::threads},
      {"async", &Program<Peer>::async},
      {"signals-in-loop", &Program<Peer>::signalsInLoop}};
  if (verb == "check") return program.check(), EXIT_SUCCESS;
  if (verb == "check-reports") return program.checkReports(), EXIT_SUCCESS;
  for (const auto& [name, work] : VERBS)
    if (verb == name) return (program.*work)(count, size), EXIT_SUCCESS;
  throw std::runtime_error("there is no verb " + verb);
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
  return EXIT_FAILURE;
}

}  // namespace Peers
