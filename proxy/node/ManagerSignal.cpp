// Reads the stack service's signals "modified" and "linkModified" and calls the notifications.
#include <bus/NodeLinkWrapper.h>
#include <bus/internal/NodeRecord.h>
#include <platform/core/log/Logger.h>
#include <proxy/node/Manager.h>
#include <proxy/node/internal/NodeReader.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

/// What stands behind the node in each of the two signals.
constexpr auto ACTION = Bus::Message::SIGNATURE_OF<std::uint8_t>;
constexpr auto LINK_AND_ACTION = Bus::Type::NodeRecord::LINK + ACTION;

/// Reads the node at the beginning of a signal, if it is a node with `rest` behind it; otherwise returns an empty
/// pointer.
Shared::Pointer<Hevra::Node> readNode(Bus::Message::ConstIterator& argument, std::string_view signature,
                                      std::string_view rest) {
  if (!signature.ends_with(rest)) return {};
  signature.remove_suffix(rest.size());
  const NodeReader read = readerFor(signature);
  return read ? read(argument) : Shared::Pointer<Hevra::Node>();
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
    modifiedHandler(signal);
  } else if (member == "linkModified") {
    linkModifiedHandler(signal);
  } else {
    Log::Logger::get()->print(Log::Priority::WARNING, "HV/ZUV proxy library> NodeManager signal unknown member: %s",
                              signal.getMember());
  }
}

void Manager::modifiedHandler(const Bus::Message::Signal& signal) {
  Bus::Message::ConstIterator argument = signal.begin();
  const auto node = readNode(argument, signal.getSignature(), ACTION);
  if (node) return modified(*node, readAction(argument));
  Log::Logger::get()->print(Log::Priority::WARNING, "HV/ZUV proxy library> NodeManager modified bad signature: %s",
                            signal.getSignature());
}

void Manager::linkModifiedHandler(const Bus::Message::Signal& signal) {
  Bus::Message::ConstIterator argument = signal.begin();
  const auto node = readNode(argument, signal.getSignature(), LINK_AND_ACTION);
  if (!node) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> NodeManager link modified bad signature: %s",
                              signal.getSignature());
    return;
  }
  NodeLink link;
  Bus::Type::StructWrapper<NodeLink>().deserialize(argument, link);
  linkModified(*node, link, readAction(++argument));
}

}  // namespace Quarnix::Hevra::Proxy::Node
