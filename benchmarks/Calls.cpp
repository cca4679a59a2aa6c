// Measures one synchronous call, on the in-process bus and over a private bus daemon, without and with a started
// manager.
#include <benchmark/benchmark.h>

#include <memory>
#include <string>

#include <platform/bus/Connection.h>
#include <platform/bus/object/Server.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <stack/Variant.h>
#include <tests/harness/BusDaemon.h>

namespace {

using namespace Quarnix;

/// The service's daughter board, which always answers yes.
class DaughterBoard : public Bus::Object::Server {
 public:
  explicit DaughterBoard(const Shared::Pointer<Bus::Connection>& connection) {
    setConnection(connection);
    setPath(Hevra::Stack::BOARD_PATH);
    start(true);
    connection->requestName(busNameOf(Hevra::Stack::Variant::HEVRA));
  }
  ~DaughterBoard() override { retire(); }

 protected:
  bool method(const Bus::Message::Method::Call& call) override {
    Bus::Message::Method::Return reply(call);
    reply.begin().append(true);
    send(reply);
    return true;
  }
};

void callRepeatedly(benchmark::State& state, const std::string& where, bool started) {
  DaughterBoard board(Bus::Connection::open(where));
  const auto connection = Bus::Connection::open(where);
  Hevra::Proxy::DaughterBoard::Manager manager;
  manager.setConnection(connection);
  Hevra::Proxy::Command::Manager commands(false, "bench");
  commands.setConnection(connection);
  if (started) commands.start(true);
  for (auto _ : state)
    if (!manager.hardReset()) state.SkipWithError("the answer was no");
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()));
}

void callInProcess(benchmark::State& state) { callRepeatedly(state, "in-process", state.range(0) != 0); }
BENCHMARK(callInProcess)->ArgName("started")->Arg(0)->Arg(1)->UseRealTime();

void callOverDaemon(benchmark::State& state) {
  Harness::BusDaemon daemon;
  callRepeatedly(state, daemon.address(), state.range(0) != 0);
}
BENCHMARK(callOverDaemon)->ArgName("started")->Arg(0)->Arg(1)->UseRealTime();

}  // namespace
