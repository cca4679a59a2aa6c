// The reply to a query: node records, each recognised by its signature, in containers.
#include <bus/NodeRecord.h>
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

}  // namespace

Nodes Manager::parseBusReply(const Bus::Message::SendReturn& reply) {
  Nodes nodes;
  for (Bus::Message::ConstIterator argument = reply->begin(); argument.type();) {
    Bus::Message::ConstIterator element = argument.begin();
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
