// Asks for nodes.
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

Manager::Nodes readAllNodes(const Bus::Message::SendReturn& reply) {
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
  return Manager::parseBusReply(reply);
}

}  // namespace

Manager::Call Manager::nodesCall(const NodeClass& nodeClass) const {
  Call call = callOf("getnodes");
  call.begin().append(static_cast<std::uint8_t>(nodeClass));
  return call;
}

Manager::Call Manager::nodesCall(const NodeClass& nodeClass, unsigned short nodeType) const {
  Call call = callOf("getnodes");
  call.begin().append(static_cast<std::uint8_t>(nodeClass), nodeType);
  return call;
}

Manager::Nodes Manager::getNodes() const {
  Call call = callOf("getnodes");
  return readAllNodes(send(call));
}

Bus::PendingCall Manager::getNodesAsync(Bus::Handler<Nodes> handler, const Time::Elapsed& timeout) {
  return request<Nodes>([&] { return callOf("getnodes"); }, readAllNodes, std::move(handler), timeout);
}

// The two queries for some nodes read an error reply as any other.

Manager::Nodes Manager::getNodes(const NodeClass& nodeClass) const {
  Call call = nodesCall(nodeClass);
  return parseBusReply(send(call));
}

Bus::PendingCall Manager::getNodesAsync(const NodeClass& nodeClass, Bus::Handler<Nodes> handler,
                                        const Time::Elapsed& timeout) {
  return request<Nodes>([&] { return nodesCall(nodeClass); }, parseBusReply, std::move(handler), timeout);
}

Manager::Nodes Manager::getNodes(const NodeClass& nodeClass, unsigned short nodeType) const {
  Call call = nodesCall(nodeClass, nodeType);
  return parseBusReply(send(call));
}

Bus::PendingCall Manager::getNodesAsync(const NodeClass& nodeClass, unsigned short nodeType,
                                        Bus::Handler<Nodes> handler, const Time::Elapsed& timeout) {
  return request<Nodes>([&] { return nodesCall(nodeClass, nodeType); }, parseBusReply, std::move(handler), timeout);
}

}  // namespace Quarnix::Hevra::Proxy::Node
