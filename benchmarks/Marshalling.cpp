// Measures encoding and decoding of commands and lists of nodes with the library's marshallers. Encoding builds and
// seals a message; decoding checks it and reads it into objects.
#include <benchmark/benchmark.h>

#include <benchmarks/Messages.h>
#include <bus/CommandVectorWrapper.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>

namespace {

using namespace Quarnix;
using namespace Benchmarks;

Hevra::Command makeCommand(std::uint32_t id) {
  Hevra::Command command;
  command.setId(id);
  command.setParameterId(0x100000001 + id);
  command.setWrite(true);
  command.setAddress(0x123456 + id);
  command.setValue(Shared::make<Hevra::HvUInt32>(id));
  command.setLabel("lamp in the hall");
  command.setTag(id);
  command.setAcei(Hevra::Command::Acei(7, 0, 3));
  return command;
}

Hevra::Proxy::CommandContainerList makeCommands(std::int64_t count) {
  Hevra::Proxy::CommandContainerList commands;
  for (std::int64_t i = 0; i < count; ++i) commands.append(makeCommand(static_cast<std::uint32_t>(i)));
  return commands;
}

void encodeAdd(benchmark::State& state) {
  const Hevra::Proxy::CommandContainerList commands = makeCommands(state.range(0));
  std::uint32_t serial = 0;
  for (auto _ : state) {
    commands.reset();
    Bus::Message::Method::Call call = makeAdd("g1", commands);
    benchmark::DoNotOptimize(call.seal(++serial, {}).data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(encodeAdd)->RangeMultiplier(10)->Range(1, 10000);

void decodeAdd(benchmark::State& state) {
  const Hevra::Proxy::CommandContainerList commands = makeCommands(state.range(0));
  Bus::Message::Method::Call call = makeAdd("g1", commands);
  const Bus::Message::Frame frame = call.seal(1, {});
  for (auto _ : state) {
    const Bus::Message::Method::Call received(frame, checkReceived(frame));
    auto argument = received.begin();
    ++argument;
    ++argument;
    std::vector<Hevra::Command> decoded;
    Bus::Type::Wrapper<std::vector<Hevra::Command>>().deserialize(argument, decoded);
    if (decoded.size() != static_cast<std::size_t>(state.range(0))) state.SkipWithError("commands are missing");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(decodeAdd)->RangeMultiplier(10)->Range(1, 10000);

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
