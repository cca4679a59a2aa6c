// The reply to a query: node records, each recognised by its signature, in containers.
#include <bus/internal/NodeRecord.h>
#include <platform/bus/Error.h>
#include <proxy/BadSignatureOnBus.h>
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

using Nodes = std::vector<Shared::Pointer<Hevra::Node>>;
using ReadElement = void (*)(Bus::Message::ConstIterator& element, Nodes& nodes);

/// Adds the node whose record stands at the element, and steps over it.
template <class Kind>
void readElement(Bus::Message::ConstIterator& element, Nodes& nodes) {
  auto node = Shared::make<Kind>();
  element.leave(Bus::Type::NodeRecord::read(element, *node));
  nodes.push_back(std::move(node));
}

ReadElement recognise(std::string_view signature) {
  using Bus::Type::NodeRecord::OF_KIND;
  if (signature == OF_KIND<RemoteActuatorNode>) return readElement<RemoteActuatorNode>;
  if (signature == OF_KIND<RemoteControllerNode>) return readElement<RemoteControllerNode>;
  if (signature == OF_KIND<RemoteSensorNode>) return readElement<RemoteSensorNode>;
  if (signature == OF_KIND<StackNode>) return readElement<StackNode>;
  throw BadSignatureOnBus();
}

/// Enters a list of nodes. The text of an error reply is none: the error that this ends in names the reply's.
Bus::Message::ConstIterator enter(const Bus::Message::ConstIterator& argument,
                                  const Bus::Message::Method::Return& reply) {
  try {
    return argument.begin();
  } catch (const Bus::NotAContainer& error) {
    if (!reply.isException()) throw;
    throw Bus::NotAContainer(std::string(reply.getErrorName()) + ": " + reply.getErrorText() + " (" + error.what() +
                             ": expected lists of nodes)");
  }
}

}  // namespace

Nodes Manager::parseBusReply(const Bus::Message::SendReturn& reply) {
  Nodes nodes;
  for (Bus::Message::ConstIterator argument = reply->begin(); argument.type();) {
    Bus::Message::ConstIterator element = enter(argument, *reply);
    // The elements of an array share one signature; those of any other container are looked at one by one.
    const bool alike = argument.type() == Bus::Message::ARRAY;
    ReadElement read = nullptr;
    while (element.type()) {
      if (!read || !alike) read = recognise(element.signatureView());
      read(element, nodes);
    }
    argument.leave(element);
  }
  return nodes;
}

}  // namespace Quarnix::Hevra::Proxy::Node
