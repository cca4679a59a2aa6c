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

}  // namespace

bool Manager::modify(const Hevra::Node& node, NodeAction action) {
  Bus::Message::Method::Call call = callOf("modify");
  Bus::Message::Iterator arguments = call.begin();
  appendNode(arguments, node);
  arguments.append(static_cast<std::int32_t>(action));
  const Bus::Message::SendReturn reply = send(call);
  bool done = false;
  if (!readAnswer(reply, done)) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> NodeManager modify reply bad signature: %s (expected was b)",
                              reply->getSignature());
  }
  return done;
}

bool Manager::modify(const NodeLink& link, NodeAction action) {
  Bus::Message::Method::Call call = callOf("modifyLink");
  Bus::Message::Iterator arguments = call.begin();
  Bus::Type::StructWrapper<NodeLink>().serialize(arguments, link);
  arguments.append(static_cast<std::int32_t>(action));
  const Bus::Message::SendReturn reply = send(call);
  bool done = false;
  if (!readAnswer(reply, done)) {
    Log::Logger::get()->print(Log::Priority::WARNING,
                              "HV/ZUV proxy library> NodeManager modify link reply bad signature: %s (expected was b)",
                              reply->getSignature());
  }
  return done;
}

void Manager::changeStackNodeKey(const unsigned int& address, const unsigned char* key) {
  if (StackNode::isKeyEmpty(key)) throw EmptyKeySet({});
  Bus::Message::Method::Call call = callOf("changekey");
  Bus::Message::Iterator arguments = call.begin();
  arguments.append(address);
  StackNode::Key block;
  std::copy_n(key, block.size(), block.begin());
  Bus::Type::FixedSequenceContainerWrapper<unsigned char, Bus::Type::Wrapper, std::tuple_size_v<StackNode::Key>>()
      .serialize(arguments, block);
  send(call);
}

void Manager::deleteNodes(const unsigned int& address) {
  Bus::Message::Method::Call call = callOf("removeChildrenNodes");
  call.begin().append(address);
  send(call);
}

std::string Manager::getNodeLinkId(unsigned int address, NodeLinkType type) {
  Bus::Message::Method::Call call = callOf("getNodeLink");
  // The type is unsigned here, and signed in the record of a link.
  call.begin().append(address, static_cast<std::uint32_t>(type));
  const Bus::Message::SendReturn reply = send(call);
  std::string linkId;
  if (!readAnswer(reply, linkId)) {
    Log::Logger::get()->print(
        Log::Priority::WARNING,
        "HV/ZUV proxy library> NodeManager getNodeLinkId bad response signature: %s, expected was s",
        reply->getSignature());
  }
  return linkId;
}

}  // namespace Quarnix::Hevra::Proxy::Node
