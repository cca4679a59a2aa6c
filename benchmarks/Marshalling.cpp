// What encoding and decoding command records and lists costs, through the marshallers as an application uses them: the
// message built, sealed and checked on one side, checked and read into objects on the other.
#include <benchmark/benchmark.h>

#include <cstring>

#include <benchmarks/peers/Wire.h>
#include <bus/CommandContainerWrapper.h>
#include <bus/CommandVectorWrapper.h>
#include <platform/bus/message/internal/Check.h>
#include <platform/bus/message/method/Call.h>
#include <platform/hevra/HvTypes.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/node/Manager.h>
#include <stack/Variant.h>

namespace {

using namespace Quarnix;
using Commands = HomeAutomation::Container<Hevra::Command>;

Hevra::Command command(std::uint32_t id) {
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

Bus::Message::Method::Call addCall(const Hevra::Proxy::CommandContainerList& commands) {
  Bus::Message::Method::Call call;
  using namespace Hevra::Stack;
  call.setPath(COMMAND_PATH);
  call.setDestination(busNameOf(Variant::HEVRA));
  call.setInterface(commandInterfaceOf(Variant::HEVRA).c_str());
  call.setMember("add");
  Bus::Message::Iterator arguments = call.begin();
  Bus::Message::Iterator server = arguments.begin(Bus::Message::STRUCTURE);
  server.appendPath(originatorPathOf(Variant::HEVRA, "bench"));
  arguments.end(server);
  Bus::Message::Iterator group = arguments.begin(Bus::Message::STRUCTURE);
  group.append("g1");
  arguments.end(group);
  Bus::Type::Wrapper<const Commands>().serialize(arguments, commands);
  return call;
}

Hevra::Proxy::CommandContainerList list(std::int64_t count) {
  Hevra::Proxy::CommandContainerList commands;
  for (std::int64_t i = 0; i < count; ++i) commands.append(command(static_cast<std::uint32_t>(i)));
  return commands;
}

void encodeAdd(benchmark::State& state) {
  const Hevra::Proxy::CommandContainerList commands = list(state.range(0));
  std::uint32_t serial = 0;
  for (auto _ : state) {
    commands.reset();
    Bus::Message::Method::Call call = addCall(commands);
    benchmark::DoNotOptimize(call.seal(++serial, {}).data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(encodeAdd)->RangeMultiplier(10)->Range(1, 10000);

void decodeAdd(benchmark::State& state) {
  const Hevra::Proxy::CommandContainerList commands = list(state.range(0));
  Bus::Message::Method::Call call = addCall(commands);
  const Bus::Message::Frame frame = call.seal(1, {});
  for (auto _ : state) {
    Bus::Message::Header header;
    if (const char* rule = Bus::Message::check(frame.data(), frame.size(), header)) state.SkipWithError(rule);
    const Bus::Message::Method::Call received(frame, header);
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
  const std::string bytes = Peers::nodeReply(1, static_cast<std::uint32_t>(state.range(0)));
  const Bus::Message::Frame frame{Bus::Message::Storage(bytes.size()), 0, static_cast<std::uint32_t>(bytes.size())};
  std::memcpy(frame.storage.data(), bytes.data(), bytes.size());
  for (auto _ : state) {
    Bus::Message::Header header;
    if (const char* rule = Bus::Message::check(frame.data(), frame.size(), header)) state.SkipWithError(rule);
    const auto nodes = Hevra::Proxy::Node::Manager::parseBusReply(Bus::Message::Method::Return(frame, header));
    if (nodes.size() != static_cast<std::size_t>(state.range(0))) state.SkipWithError("nodes are missing");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * state.range(0));
}
BENCHMARK(decodeNodes)->RangeMultiplier(10)->Range(1, 10000);

}  // namespace
