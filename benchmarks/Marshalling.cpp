// Measures encoding and decoding of commands, of a report and of lists of nodes with the library's marshallers.
// Encoding builds and seals a message; decoding checks it and reads it into objects.
#include <benchmark/benchmark.h>

#include <string>
#include <utility>
#include <vector>

#include <benchmarks/Messages.h>

namespace {

using namespace Quarnix;
using namespace Benchmarks;

Hevra::Proxy::CommandContainerList makeCommands(benchmark::State& state, const Peers::Mixture& mixture) {
  return Benchmarks::makeCommands(Peers::commands(1, static_cast<std::uint32_t>(state.range(0)), mixture));
}

void encode(benchmark::State& state, const Peers::Mixture& mixture) {
  const Hevra::Proxy::CommandContainerList commands = makeCommands(state, mixture);
  std::uint32_t serial = 0;
  for (auto _ : state) {
    commands.reset();
    Bus::Message::Method::Call call = makeAdd("g1", commands);
    benchmark::DoNotOptimize(sealAdd(call, ++serial).data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

void decode(benchmark::State& state, const Peers::Mixture& mixture) {
  const Hevra::Proxy::CommandContainerList commands = makeCommands(state, mixture);
  Bus::Message::Method::Call call = makeAdd("g1", commands);
  const Bus::Message::Frame frame = sealAdd(call, 1);
  for (auto _ : state)
    if (Benchmarks::decodeAdd(frame).size() != static_cast<std::size_t>(state.range(0)))
      state.SkipWithError("commands are missing");
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}

void encodeAdd(benchmark::State& state) { encode(state, {}); }
BENCHMARK(encodeAdd)->RangeMultiplier(10)->Range(1, 10000);

void decodeAdd(benchmark::State& state) { decode(state, {}); }
BENCHMARK(decodeAdd)->RangeMultiplier(10)->Range(1, 10000);

/// 1,000 commands of one kind each: those with the usual label and no details of the error differ in the value alone,
/// the others have a number as the value.
const bool registered = [] {
  using Peers::Errors, Peers::Labels;
  std::vector<std::pair<std::string, Peers::Mixture>> kinds;
  for (std::uint32_t kind = 0; kind < Peers::VALUE_KINDS; ++kind) {
    const bool none = kind + 1 == Peers::VALUE_KINDS;
    kinds.emplace_back(none ? "no_value" : Peers::VALUE_SIGNATURES[kind],
                       Peers::Mixture{Errors::NONE, Labels::USUAL, kind});
  }
  kinds.emplace_back("u_and_details", Peers::Mixture{Errors::ALL, Labels::USUAL, 0});
  kinds.emplace_back("u_and_short_label", Peers::Mixture{Errors::NONE, Labels::SHORT, 0});
  kinds.emplace_back("u_and_long_label", Peers::Mixture{Errors::NONE, Labels::LONG, 0});
  for (const auto& [kind, mixture] : kinds)
    benchmark::RegisterBenchmark(("encodeKind/" + kind).c_str(), encode, mixture)->Arg(1000);
  for (const auto& [kind, mixture] : kinds)
    benchmark::RegisterBenchmark(("decodeKind/" + kind).c_str(), decode, mixture)->Arg(1000);
  return true;
}();

void encodeReport(benchmark::State& state) {
  const Hevra::Proxy::CommandContainerList commands =
      Benchmarks::makeCommands(Peers::commands(1, 1, {Peers::Errors::ALL}));
  commands.next();
  std::uint32_t serial = 0;
  for (auto _ : state) {
    Bus::Message::Method::Call call = makeReport("g1", commands.get());
    benchmark::DoNotOptimize(call.seal(++serial, {}).data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}
BENCHMARK(encodeReport);

void decodeNodes(benchmark::State& state) {
  const Bus::Message::Frame frame = receiveNodes(1, static_cast<std::uint32_t>(state.range(0)));
  for (auto _ : state) {
    const auto nodes = Benchmarks::decodeNodes(frame);
    if (nodes.size() != static_cast<std::size_t>(state.range(0))) state.SkipWithError("nodes are missing");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(decodeNodes)->RangeMultiplier(10)->Range(1, 10000);

}  // namespace
