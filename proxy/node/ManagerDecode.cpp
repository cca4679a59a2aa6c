// Reads node records, each recognised by its signature: one by one, and the lists of them in the reply to a query.
#include <bus/internal/NodeRecord.h>
#include <platform/bus/Error.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/node/Manager.h>
#include <proxy/node/internal/NodeReader.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

using Bus::Message::ConstIterator;

template <class Kind>
Shared::Pointer<Hevra::Node> readNode(ConstIterator& record) {
  auto node = Shared::make<Kind>();
  record.leave(Bus::Type::NodeRecord::read(record, *node));
  return node;
}

/// Enters a list of nodes. An error reply has a text there; the error then names that of the reply.
ConstIterator enter(const ConstIterator& argument, const Bus::Message::Method::Return& reply) {
  try {
    return argument.begin();
  } catch (const Bus::NotAContainer& error) {
    if (!reply.isException()) throw;
    throw Bus::NotAContainer(std::string(reply.getErrorName()) + ": " + reply.getErrorText() + " (" + error.what() +
                             ": expected lists of nodes)");
  }
}

}  // namespace

NodeReader readerFor(std::string_view signature) noexcept {
  using Bus::Type::NodeRecord::OF_KIND;
  if (signature == OF_KIND<RemoteActuatorNode>) return readNode<RemoteActuatorNode>;
  if (signature == OF_KIND<RemoteControllerNode>) return readNode<RemoteControllerNode>;
  if (signature == OF_KIND<RemoteSensorNode>) return readNode<RemoteSensorNode>;
  if (signature == OF_KIND<StackNode>) return readNode<StackNode>;
  return nullptr;
}

std::vector<Shared::Pointer<Hevra::Node>> Manager::parseBusReply(const Bus::Message::SendReturn& reply) {
  std::vector<Shared::Pointer<Hevra::Node>> nodes;
  for (ConstIterator argument = reply->begin(); argument.type();) {
    ConstIterator element = enter(argument, *reply);
    // The elements of an array share one signature; those of another container are recognised one by one.
    const bool isArray = argument.type() == Bus::Message::ARRAY;
    NodeReader read = nullptr;
    while (element.type()) {
      if (!read || !isArray) read = readerFor(element.signatureView());
      if (!read) throw BadSignatureOnBus();
      nodes.push_back(read(element));
    }
    argument.leave(element);
  }
  return nodes;
}

}  // namespace Quarnix::Hevra::Proxy::Node
