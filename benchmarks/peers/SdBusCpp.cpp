// The peer of sdbus-c++. Records are its Structs and tuples, as its documentation recommends. Byte arrays are vectors,
// which it appends and reads one byte at a time.
#include <sdbus-c++/sdbus-c++.h>

#include <benchmarks/peers/Peer.h>

namespace Peers {

using Record = sdbus::Struct<std::uint32_t, std::uint64_t, bool, std::uint32_t, sdbus::Variant, std::int32_t,
                             std::int32_t, std::uint8_t, std::int32_t, std::string, std::uint32_t, std::string,
                             std::uint32_t, std::uint8_t, std::uint8_t>;
using SensorRecord =
    sdbus::Struct<std::uint32_t, std::uint8_t, std::uint16_t, std::uint8_t, Bytes, Bytes, Bytes, std::uint64_t,
                  std::uint8_t, std::uint32_t, std::uint32_t, std::uint8_t, std::uint16_t, std::uint16_t, std::uint8_t,
                  std::uint8_t, std::uint8_t, std::uint8_t, std::uint8_t, std::uint16_t, bool>;

template <std::size_t N>
void copy(const Bytes& from, std::array<std::uint8_t, N>& to) {
  require(from.size() == N, "an identity has another size");
  std::copy_n(from.begin(), N, to.begin());
}

void assign(Sensor& node, const SensorRecord& record) {
  Bytes first, second, third;
  std::tie(node.address, node.nodeClass, node.nodeType, node.manufacturer, first, second, third, node.stamp, node.state,
           node.extra, node.backbone, node.parameterType, node.minimum, node.maximum, node.scale, node.resolution,
           node.resolutionScale, node.mode, node.events, node.period, node.listening) = record;
  copy(first, node.first), copy(second, node.second), copy(third, node.third);
}

sdbus::Variant makeValue(const Value& from) {
  return std::visit([](const auto& value) { return sdbus::Variant(value); }, from);
}

class SdBusCpp {
 public:
  using Node = Sensor;
  static constexpr bool SHARED = true;

  explicit SdBusCpp(const std::string& address)
      : bus_(sdbus::createSessionBusConnectionWithAddress(address)),
        commands_(sdbus::createProxy(*bus_, HOST, COMMAND_PATH)),
        nodes_(sdbus::createProxy(*bus_, HOST, NODE_PATH)),
        board_(sdbus::createProxy(*bus_, HOST, BOARD_PATH)) {}

  static Commands prepare(Commands&& commands) { return std::move(commands); }

  void encode(const Commands& commands) { build(commands).seal(); }

  void send(const Commands& commands) { commands_->callMethod(build(commands)); }
  void add(const Commands& commands) { send(commands); }

  sdbus::MethodCall receive(std::uint32_t iteration, std::uint32_t count) {
    auto message = nodes_->createMethodCall(NODE_INTERFACE, "nodes");
    message.openContainer(SENSOR_SIGNATURE);
    for (std::uint32_t i = 0; i < count; ++i) {
      const Sensor node = sensor(iteration, i);
      const auto bytes = [](const auto& block) { return Bytes(block.begin(), block.end()); };
      message << SensorRecord(node.address, node.nodeClass, node.nodeType, node.manufacturer, bytes(node.first),
                              bytes(node.second), bytes(node.third), node.stamp, node.state, node.extra, node.backbone,
                              node.parameterType, node.minimum, node.maximum, node.scale, node.resolution,
                              node.resolutionScale, node.mode, node.events, node.period, node.listening);
    }
    message.closeContainer();
    message.seal();
    message.rewind(true);
    return message;
  }

  static Sensors decode(sdbus::Message& message) {
    Sensors nodes;
    require(bool{message.enterContainer(SENSOR_SIGNATURE)}, "a list has another signature");
    for (SensorRecord record; message >> record; record = SensorRecord()) {
      nodes.push_back(std::make_unique<Sensor>());
      assign(*nodes.back(), record);
    }
    message.clearFlags();
    message.exitContainer();
    return nodes;
  }

  bool call() {
    auto reply = board_->callMethod(board_->createMethodCall(BOARD_INTERFACE, "hardreset"));
    bool yes = false;
    reply >> yes;
    return yes;
  }

  Sensors list() {
    auto reply = nodes_->callMethod(nodes_->createMethodCall(NODE_INTERFACE, "getnodes"));
    return decode(reply);
  }

  void signals(std::uint32_t count, std::function<void(const Sensor&)> use) {
    if (!use_) {
      nodes_->registerSignalHandler(NODE_INTERFACE, "modified", [this](sdbus::Signal& signal) { modified(signal); });
      nodes_->finishRegistration();
    }
    use_ = std::move(use);
    left_ = count;
    auto call = nodes_->createMethodCall(NODE_INTERFACE, "flood");
    call << count;
    nodes_->callMethod(call);
    bus_->enterEventLoop();  // until the last signal
  }

  static bool same(const Sensor& node, const Sensor& expected) { return node == expected; }

 private:
  sdbus::MethodCall build(const Commands& commands) {
    auto call = commands_->createMethodCall(COMMAND_INTERFACE, "add");
    call << sdbus::Struct<sdbus::ObjectPath>(sdbus::ObjectPath(ORIGINATOR_PATH))
         << sdbus::Struct<std::string>(commands.group);
    call.openContainer(COMMAND_SIGNATURE);
    for (const Command& command : commands.list)
      call << Record(command.id, command.parameterId, command.write, command.address, makeValue(command.value),
                     command.origin, command.context, command.errorType, command.errorId, command.errorText,
                     command.delay, command.label, command.tag, command.status, command.acei);
    call.closeContainer();
    return call;
  }

  void modified(sdbus::Signal& signal) {
    SensorRecord record;
    std::uint8_t action = 0;
    signal >> record >> action;
    Sensor node{};
    assign(node, record);
    use_(node);
    if (--left_ == 0) bus_->leaveEventLoop();
  }

  std::unique_ptr<sdbus::IConnection> bus_;
  std::unique_ptr<sdbus::IProxy> commands_, nodes_, board_;
  std::uint32_t left_ = 0;
  std::function<void(const Sensor&)> use_;
};

}  // namespace Peers

int main(int argc, char** argv) { return Peers::run<Peers::SdBusCpp>(argc, argv); }
