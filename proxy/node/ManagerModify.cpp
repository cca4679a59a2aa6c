// Changes nodes, links and keys, and asks for the identifier of a link.
#include <algorithm>

#include <bus/FixedSequenceContainerWrapper.h>
#include <bus/NodeLinkWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <platform/core/log/Logger.h>
#include <platform/hevra/EmptyKeySet.h>
#include <proxy/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

namespace {

template <class Kind>
void appendAs(Bus::Message::Iterator& arguments, const Hevra::Node& node) {
  Bus::Type::StructWrapper<Kind>().serialize(arguments, dynamic_cast<const Kind&>(node));
}

void appendNode(Bus::Message::Iterator& arguments, const Hevra::Node& node) {
  switch (node.getNodeClass()) {
    case NodeClass::ACTUATOR:
    case NodeClass::ACTUATOR_WITH_SENSOR:
    case NodeClass::REPEATING_ACTUATOR:
      return appendAs<RemoteActuatorNode>(arguments, node);
    case NodeClass::SENSOR:
      return appendAs<RemoteSensorNode>(arguments, node);
    case NodeClass::STACK:
      return appendAs<StackNode>(arguments, node);
    case NodeClass::CONTROLLER:
      return appendAs<RemoteControllerNode>(arguments, node);
    default:
      throw Manager::UnknownNodeClass(static_cast<unsigned short>(node.getNodeClass()));
  }
}

/// Reads an answer that is one value of this type; returns false for any other answer.
template <class T>
bool readAnswer(const Bus::Message::SendReturn& reply, T& value) {
  if (reply->isException()) throw Bus::Message::Method::Return(*reply);
  if (reply->getSignature() != Bus::Message::SIGNATURE_OF<T>) return false;
  reply->begin().get(value);
  return true;
}

bool readModified(const Bus::Message::SendReturn& reply) {
  bool done = false;
  if (!readAnswer(reply, done)) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> NodeManager modify reply bad signature: %s (expected was b)",
                              reply->getSignature());
  }
  return done;
}

bool readLinkModified(const Bus::Message::SendReturn& reply) {
  bool done = false;
  if (!readAnswer(reply, done)) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> NodeManager modify link reply bad signature: %s (expected was b)",
                              reply->getSignature());
  }
  return done;
}

std::string readLinkId(const Bus::Message::SendReturn& reply) {
  std::string linkId;
  if (!readAnswer(reply, linkId)) {
    Log::Logger::get()->print(
        Log::Priority::WARNING,
        "HV/ZUV proxy library> NodeManager getNodeLinkId bad response signature: %s, expected was s",
        reply->getSignature());
  }
  return linkId;
}

void ignore(const Bus::Message::SendReturn&) {}

}  // namespace

Manager::Call Manager::modifyCall(const Hevra::Node& node, NodeAction action) const {
  Call call = callOf("modify");
  Bus::Message::Iterator arguments = call.begin();
  appendNode(arguments, node);
  arguments.append(static_cast<std::int32_t>(action));
  return call;
}

bool Manager::modify(const Hevra::Node& node, NodeAction action) {
  Call call = modifyCall(node, action);
  return readModified(send(call));
}

Bus::PendingCall Manager::modifyAsync(const Hevra::Node& node, NodeAction action, Bus::Handler<bool> handler,
                                      const Time::Elapsed& timeout) {
  return request<bool>([&] { return modifyCall(node, action); }, readModified, std::move(handler), timeout);
}

Manager::Call Manager::modifyCall(const NodeLink& link, NodeAction action) const {
  Call call = callOf("modifyLink");
  Bus::Message::Iterator arguments = call.begin();
  Bus::Type::StructWrapper<NodeLink>().serialize(arguments, link);
  arguments.append(static_cast<std::int32_t>(action));
  return call;
}

bool Manager::modify(const NodeLink& link, NodeAction action) {
  Call call = modifyCall(link, action);
  return readLinkModified(send(call));
}

Bus::PendingCall Manager::modifyAsync(const NodeLink& link, NodeAction action, Bus::Handler<bool> handler,
                                      const Time::Elapsed& timeout) {
  return request<bool>([&] { return modifyCall(link, action); }, readLinkModified, std::move(handler), timeout);
}

Manager::Call Manager::changeKeyCall(unsigned int address, const unsigned char* key) const {
  if (StackNode::isKeyEmpty(key)) throw EmptyKeySet({});
  Call call = callOf("changekey");
  Bus::Message::Iterator arguments = call.begin();
  arguments.append(address);
  StackNode::Key block;
  std::copy_n(key, block.size(), block.begin());
  Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::tuple_size_v<StackNode::Key>>()
      .serialize(arguments, block);
  return call;
}

void Manager::changeStackNodeKey(const unsigned int& address, const unsigned char* key) {
  Call call = changeKeyCall(address, key);
  send(call);
}

Bus::PendingCall Manager::changeStackNodeKeyAsync(unsigned int address, const unsigned char* key,
                                                  Bus::Handler<void> handler, const Time::Elapsed& timeout) {
  return request<void>([&] { return changeKeyCall(address, key); }, ignore, std::move(handler), timeout);
}

Manager::Call Manager::deleteCall(unsigned int address) const {
  Call call = callOf("removeChildrenNodes");
  call.begin().append(address);
  return call;
}

void Manager::deleteNodes(const unsigned int& address) {
  Call call = deleteCall(address);
  send(call);
}

Bus::PendingCall Manager::deleteNodesAsync(unsigned int address, Bus::Handler<void> handler,
                                           const Time::Elapsed& timeout) {
  return request<void>([&] { return deleteCall(address); }, ignore, std::move(handler), timeout);
}

Manager::Call Manager::linkIdCall(unsigned int address, NodeLinkType type) const {
  Call call = callOf("getNodeLink");
  // The type is unsigned here, and signed in the record of a link.
  call.begin().append(address, static_cast<std::uint32_t>(type));
  return call;
}

std::string Manager::getNodeLinkId(unsigned int address, NodeLinkType type) {
  Call call = linkIdCall(address, type);
  return readLinkId(send(call));
}

Bus::PendingCall Manager::getNodeLinkIdAsync(unsigned int address, NodeLinkType type, Bus::Handler<std::string> handler,
                                             const Time::Elapsed& timeout) {
  return request<std::string>([&] { return linkIdCall(address, type); }, readLinkId, std::move(handler), timeout);
}

}  // namespace Quarnix::Hevra::Proxy::Node
