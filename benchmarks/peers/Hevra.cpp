// The peer of the project: uses its managers and marshallers as an application does.
#include <benchmarks/Messages.h>
#include <benchmarks/peers/Peer.h>
#include <platform/core/Dispatcher.h>
#include <platform/core/Event.h>
#include <platform/hevra/HvTypes.h>
#include <platform/hevra/RemoteSensorNode.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>

#include <functional>
#include <future>
#include <optional>
#include <typeinfo>
#include <utility>

namespace Peers {

namespace Hevra = Quarnix::Hevra;
namespace Bus = Quarnix::Bus;
namespace Shared = Quarnix::Shared;
using Connection = Shared::Pointer<Bus::Connection>;

struct Prepared {
  Hevra::Group group;
  Hevra::Proxy::CommandContainerList commands;
};

class Originator : public Hevra::Interface::Command::Originator {
  void progress(const Hevra::Command&, const Hevra::Group&, const Quarnix::HomeAutomation::Command::Status&) override {}
};

/// Passes every changed node to `use_`, on its own task.
class Nodes : public Hevra::Proxy::Node::Manager {
 public:
  explicit Nodes(const Connection& connection) : Manager(false) { setConnection(connection); }
  ~Nodes() override { stop(); }

  void receive(std::uint32_t count, std::function<void(const Hevra::Node&)> use) {
    start(true);
    use_ = std::move(use);
    left_ = count;
    done_ = {};
    Bus::Message::Method::Call call;
    call.setInterface(NODE_INTERFACE);
    call.setMember("flood");
    call.begin().append(count);
    send(call);
    if (dispatcher) return dispatcher->run();
    // Signals that do not arrive within this time are lost.
    done_.get_future().wait_for(std::chrono::seconds(20));
  }

  Quarnix::Dispatcher* dispatcher = nullptr;

 private:
  void modified(const Hevra::Node& node, Hevra::NodeAction) override {
    use_(node);
    if (--left_ != 0) return;
    if (dispatcher) return dispatcher->quit();
    done_.set_value();
  }

  std::function<void(const Hevra::Node&)> use_;
  std::uint32_t left_ = 0;
  std::promise<void> done_;
};

class HevraProxy {
 public:
  using Node = Hevra::Node;
  static constexpr bool SHARED = true;

  explicit HevraProxy(const std::string& address) : connection_(Bus::Connection::open(address)), nodes_(connection_) {
    commands_.setConnection(connection_);
    board_.setConnection(connection_);
  }

  /// From now on the process has one thread. Call it before anything else.
  void useLoop() {
    nodes_.dispatcher = &dispatcher_.emplace();
    Quarnix::Dispatcher::setDefault(nodes_.dispatcher);
  }

  void start() {
    commands_.start(true);
    nodes_.start(true);
  }

  static Prepared prepare(Commands&& commands) {
    Hevra::Group group(commands.group);
    return {group, Benchmarks::makeCommands(std::move(commands))};
  }

  void encode(const Prepared& prepared) { static_cast<void>(receiveAdd(prepared)); }

  void send(const Prepared& prepared) {
    Bus::Message::Method::Call call = build(prepared);
    call.setPath(COMMAND_PATH);
    call.setDestination(HOST);
    require(!connection_->call(call)->isException(), "the answer is an error");
  }

  void add(const Prepared& prepared) { commands_.add(originator_, prepared.group, prepared.commands); }

  void encodeReport(const Prepared& prepared) { report(prepared).seal(++serial_, {}); }
  void sendReport(const Prepared& prepared) {
    Bus::Message::Method::Call call = report(prepared);
    require(!connection_->call(call)->isException(), "the answer is an error");
  }

  Bus::Message::Frame receiveAdd(const Prepared& prepared) {
    Bus::Message::Method::Call call = build(prepared);
    return Benchmarks::sealAdd(call, ++serial_);
  }
  static std::vector<Hevra::Command> decodeAdd(const Bus::Message::Frame& frame) {
    return Benchmarks::decodeAdd(frame);
  }
  static bool same(const Hevra::Command& command, const Command& expected) {
    // Empty bytes are read back as a blob, and the whole error text as the details.
    const auto value =
        expected.value == Value(Bytes()) ? Shared::make<Hevra::HvBlob>(Bytes()) : Benchmarks::makeValue(expected.value);
    const Hevra::ErrorCode& code = command.getDetailedError().getErrorCode();
    return typeid(*command.getValue()) == typeid(*value) && command.getValue()->toString() == value->toString() &&
           command.getId() == expected.id && command.getParameterId() == expected.parameterId &&
           command.isWrite() == expected.write && command.getAddress() == expected.address &&
           command.getOrigin() == expected.origin && command.getContext() == expected.context &&
           code.getErrorType() == expected.errorType && code.getErrorId() == expected.errorId &&
           command.getDetailedError().getErrorFieldsToString() == expected.errorText &&
           command.getDelay() == expected.delay && command.getLabel() == expected.label &&
           command.getTag() == expected.tag && static_cast<std::uint8_t>(command.getStatus()) == expected.status &&
           command.getAcei().getValue() == expected.acei;
  }

  static Bus::Message::Frame receive(std::uint32_t iteration, std::uint32_t count) {
    return Benchmarks::receiveNodes(iteration, count);
  }
  static std::vector<Shared::Pointer<Hevra::Node>> decode(const Bus::Message::Frame& frame) {
    return Benchmarks::decodeNodes(frame);
  }

  bool call() { return board_.hardReset(); }
  std::vector<Shared::Pointer<Hevra::Node>> list() { return nodes_.getNodes(); }
  void signals(std::uint32_t count, std::function<void(const Hevra::Node&)> use) {
    nodes_.receive(count, std::move(use));
  }

  void calls(std::uint32_t count, std::uint32_t width) {
    connection_->setLargestWindow(width);
    std::uint32_t begun = 0, ended = 0;
    const std::function<void()> begin = [&] {
      ++begun;
      board_.hardResetAsync([&](const Bus::Result<bool>& result) {
        require(result.get(), "the answer to a call was no");
        if (begun < count) begin();
        if (++ended == count) dispatcher_->quit();
      });
    };
    while (begun < width) begin();
    dispatcher_->run();
  }

  static bool same(const Hevra::Node& node, const Sensor& expected) {
    const auto* found = dynamic_cast<const Hevra::RemoteSensorNode*>(&node);
    if (!found) return false;
    const Hevra::SensorInformation& info = found->getInfo();
    return Sensor{found->getAddress(),
                  static_cast<std::uint8_t>(found->getNodeClass()),
                  found->getNodeType(),
                  found->getManufacturerId(),
                  found->getFirstIdentity(),
                  found->getSecondIdentity(),
                  found->getThirdIdentity(),
                  found->getStamp(),
                  static_cast<std::uint8_t>(found->getState()),
                  found->getExtra(),
                  found->getBackboneAddress(),
                  info.getMeasuredValueParameterType(),
                  info.getMinimalSensedValue(),
                  info.getMaximalSensedValue(),
                  info.getScaleFactor(),
                  info.getResolutionValue(),
                  info.getResolutionScaleFactor(),
                  info.getOperatingMode(),
                  info.getMaxNumberOfEventHandled(),
                  info.getMinRefreshTimePeriod(),
                  found->isListening()} == expected;
  }

 private:
  static Bus::Message::Method::Call build(const Prepared& prepared) {
    return Benchmarks::makeAdd(prepared.group.getId(), prepared.commands);
  }

  static Bus::Message::Method::Call report(const Prepared& prepared) {
    prepared.commands.reset();
    prepared.commands.next();
    return Benchmarks::makeReport(prepared.group.getId(), prepared.commands.get());
  }

  std::optional<Quarnix::Dispatcher> dispatcher_;
  Connection connection_;
  std::uint32_t serial_ = 0;
  Hevra::Proxy::DaughterBoard::Manager board_;
  Hevra::Proxy::Command::Manager commands_{false, "bench"};
  Nodes nodes_;
  Shared::Pointer<Hevra::Interface::Command::Originator> originator_{new Originator};
};

}  // namespace Peers

int main(int argc, char** argv) { return Peers::run<Peers::HevraProxy>(argc, argv); }
