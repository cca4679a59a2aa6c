// The notifications: the stack service's signals "modified" and "linkModified".
#include <bus/NodeLinkWrapper.h>
#include <bus/internal/NodeRecord.h>
#include <platform/core/log/Logger.h>
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

namespace NodeRecord = Bus::Type::NodeRecord;

/// What stands behind the node's record in each of the two signals.
constexpr auto ACTION = NodeRecord::OF<std::uint8_t>;
constexpr auto LINK_AND_ACTION = NodeRecord::LINK + ACTION;

/// Whether the signal is Kind's record with `REST` behind it.
template <class Kind, const auto& REST>
bool isOf(const Bus::Message::Signal& signal) {
  static constexpr auto EXPECTED = NodeRecord::OF_KIND<Kind> + REST;
  return std::string_view(signal.getSignature()) == EXPECTED;
}

template <const auto& REST>
bool isNodeWith(const Bus::Message::Signal& signal) {
  return isOf<RemoteActuatorNode, REST>(signal) || isOf<RemoteSensorNode, REST>(signal) ||
         isOf<StackNode, REST>(signal) || isOf<RemoteControllerNode, REST>(signal);
}

/// When the signal is Kind's, reads the node and hands it to `use`, with the iterator at what follows; otherwise false.
template <class Kind, const auto& REST, class Use>
bool useNodeOf(const Bus::Message::Signal& signal, const Use& use) {
  if (!isOf<Kind, REST>(signal)) return false;
  Kind node;
  Bus::Message::ConstIterator argument = signal.begin();
  argument.leave(NodeRecord::read(argument, node));
  use(node, argument);
  return true;
}

/// Does nothing for a signal that is none of the four kinds'.
template <const auto& REST, class Use>
void useNode(const Bus::Message::Signal& signal, const Use& use) {
  static_cast<void>(useNodeOf<RemoteActuatorNode, REST>(signal, use) ||
                    useNodeOf<RemoteSensorNode, REST>(signal, use) || useNodeOf<StackNode, REST>(signal, use) ||
                    useNodeOf<RemoteControllerNode, REST>(signal, use));
}

NodeAction readAction(const Bus::Message::ConstIterator& argument) {
  std::uint8_t action = 0;
  argument.get(action);
  return static_cast<NodeAction>(action);
}

}  // namespace

void Manager::signal(const Bus::Message::Signal& signal) {
  if (interfaceName != signal.getInterface()) return;
  const std::string_view member = signal.getMember();
  if (member == "modified") {
    if (isNodeWith<ACTION>(signal)) return modifiedHandler(signal);
    Log::Logger::get()->print(Log::Priority::WARNING, "HV/ZUV proxy library> NodeManager modified bad signature: %s",
                              signal.getSignature());
  } else if (member == "linkModified") {
    if (isNodeWith<LINK_AND_ACTION>(signal)) return linkModifiedHandler(signal);
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> NodeManager link modified bad signature: %s",
                              signal.getSignature());
  } else {
    Log::Logger::get()->print(Log::Priority::WARNING, "HV/ZUV proxy library> NodeManager signal unknown member: %s",
                              signal.getMember());
  }
}

void Manager::modifiedHandler(const Bus::Message::Signal& signal) {
  useNode<ACTION>(signal, [this](const Hevra::Node& node, const Bus::Message::ConstIterator& argument) {
    modified(node, readAction(argument));
  });
}

void Manager::linkModifiedHandler(const Bus::Message::Signal& signal) {
  useNode<LINK_AND_ACTION>(signal, [this](const Hevra::Node& node, Bus::Message::ConstIterator& argument) {
    NodeLink link;
    Bus::Type::StructWrapper<NodeLink>().deserialize(argument, link);
    ++argument;
    linkModified(node, link, readAction(argument));
  });
}

}  // namespace Quarnix::Hevra::Proxy::Node
