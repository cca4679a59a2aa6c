// Asks for nodes.
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

std::vector<Shared::Pointer<Hevra::Node>> Manager::getNodes() const {
  Bus::Message::Method::Call call = callOf("getnodes");
  const Bus::Message::SendReturn reply = send(call);
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
  return parseBusReply(reply);
}

// The two queries for some nodes read an error reply as any other.

std::vector<Shared::Pointer<Hevra::Node>> Manager::getNodes(const NodeClass& nodeClass) const {
  Bus::Message::Method::Call call = callOf("getnodes");
  call.begin().append(static_cast<std::uint8_t>(nodeClass));
  return parseBusReply(send(call));
}

std::vector<Shared::Pointer<Hevra::Node>> Manager::getNodes(const NodeClass& nodeClass, unsigned short nodeType) const {
  Bus::Message::Method::Call call = callOf("getnodes");
  call.begin().append(static_cast<std::uint8_t>(nodeClass), nodeType);
  return parseBusReply(send(call));
}

}  // namespace Quarnix::Hevra::Proxy::Node
