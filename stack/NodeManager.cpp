// Reads the arguments of calls and writes lists and signals.
#include <stack/NodeManager.h>

#include <cstdint>
#include <string_view>
#include <utility>
#include <vector>

#include <bus/NodeLinkWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <platform/bus/message/Limits.h>

namespace Quarnix::Hevra::Stack {

using Bus::Message::ConstIterator;
using Bus::Message::Iterator;
using Bus::Message::Method::Call;
using Bus::Message::Method::Return;

namespace {

using Array = std::vector<const AnyNode*>;  // of nodes of one kind

std::vector<Array> groupRuns(const std::vector<AnyNode>& nodes) {
  std::vector<Array> arrays;
  std::size_t length = 0;
  for (const AnyNode& node : nodes) {
    if (arrays.empty() || arrays.back().front()->index() != node.index()) {
      arrays.emplace_back();
      length += 1 + signatureOf(node.index()).size();
    }
    arrays.back().push_back(&node);
  }
  if (length <= Bus::Message::MAXIMUM_SIGNATURE_LENGTH) return arrays;

  std::vector<Array> kinds;
  for (const Array& array : arrays) {
    auto kind = kinds.begin();
    while (kind != kinds.end() && kind->front()->index() != array.front()->index()) ++kind;
    if (kind == kinds.end()) kind = kinds.emplace(kind);
    kind->insert(kind->end(), array.begin(), array.end());
  }
  return kinds;
}

/// Advances the iterator from a record to the action behind it and reads that.
NodeAction readAction(ConstIterator& argument) {
  std::int32_t action = 0;
  (++argument).get(action);
  return static_cast<NodeAction>(action);
}

}  // namespace

NodeManager::NodeManager(Shared::Pointer<Bus::Connection> connection, const Options& options, Variant variant,
                         NodeTable& nodes, Faults& faults)
    : SimulatedObject(std::move(connection), nodePathOf(variant), {nodeInterfaceOf(variant)}, options,
                      variant == Variant::HEVRA ? 2 : 3, faults),
      interface_(nodeInterfaceOf(variant)),
      nodes_(nodes) {
  Bus::Type::StructWrapper<StackNode>::hideKeysInTraces();
}

NodeManager::~NodeManager() { retire(); }

void NodeManager::announce(const NodeTable::Change& change) {
  Bus::Message::Signal signal(getPath(), interface_.c_str(), change.link ? "linkModified" : "modified");
  Iterator arguments = signal.begin();
  append(arguments, change.node);
  if (change.link) Bus::Type::StructWrapper<NodeLink>().serialize(arguments, *change.link);
  arguments.append(static_cast<std::uint8_t>(change.action));
  send(signal);
}

bool NodeManager::answer(const Call& call, Return& reply) {
  if (interface_ != call.getInterface()) return false;
  const std::string_view member = call.getMember();
  if (member == "getnodes") {
    list(call, reply);
  } else if (member == "modify") {
    reply.begin().append(modify(call));
  } else if (member == "modifyLink") {
    reply.begin().append(modifyLink(call));
  } else if (member == "removeChildrenNodes") {
    require(call, "u", "u: the address of a node");
    std::uint32_t address = 0;
    call.begin().get(address);
    nodes_.removeChildren(address);
  } else if (member == "changekey") {
    changeKey(call);
  } else if (member == "getNodeLink") {
    reply.begin().append(getLinkId(call));
  } else {
    return false;
  }
  return true;
}

void NodeManager::list(const Call& call, Return& reply) const {
  const std::string_view signature = call.getSignature();
  if (signature != "" && signature != "y" && signature != "yq")
    refuseArguments(call, "none, a class (y) or a class and a type (yq)");
  std::uint8_t nodeClass = 0;
  std::uint16_t nodeType = 0;
  ConstIterator argument = call.begin();
  if (signature != "") argument.read(nodeClass);
  if (signature == "yq") argument.read(nodeType);

  std::vector<AnyNode> nodes = nodes_.getNodes();
  std::erase_if(nodes, [&](const AnyNode& node) {
    const Node& head = headOf(node);
    return (signature != "" && static_cast<std::uint32_t>(head.getNodeClass()) != nodeClass) ||
           (signature == "yq" && head.getNodeType() != nodeType);
  });
  Iterator values = reply.begin();
  for (const Array& array : groupRuns(nodes)) {
    Iterator elements = values.begin(Bus::Message::ARRAY, signatureOf(array.front()->index()).c_str());
    for (const AnyNode* node : array) append(elements, *node);
    values.end(elements);
  }
}

bool NodeManager::modify(const Call& call) {
  const std::string_view signature = call.getSignature();
  std::size_t kind = 0;
  while (kind < KINDS && signature != signatureOf(kind) + "i") ++kind;
  if (kind == KINDS) refuseArguments(call, "one of the four node records and an action (i)");
  ConstIterator argument = call.begin();
  const AnyNode node = read(argument, kind);
  try {
    return nodes_.modify(node, readAction(argument));
  } catch (const std::invalid_argument& error) {
    throw InvalidArguments("modify was called with " + std::string(error.what()));
  }
}

bool NodeManager::modifyLink(const Call& call) {
  require(call, "(uusi)i", "(uusi)i: a link and an action");
  ConstIterator argument = call.begin();
  NodeLink link;
  Bus::Type::StructWrapper<NodeLink>().deserialize(argument, link);
  try {
    return nodes_.modify(link, readAction(argument));
  } catch (const std::invalid_argument& error) {
    throw InvalidArguments("modifyLink was called with " + std::string(error.what()));
  }
}

void NodeManager::changeKey(const Call& call) {
  require(call, "uay", "uay: the address of a stack node and its key");
  std::uint32_t address = 0;
  ConstIterator argument = call.begin();
  argument.read(address);
  const auto key = argument.getBytes();
  if (key.size() != std::tuple_size_v<StackNode::Key> || StackNode::isKeyEmpty(key.data())) {
    throw InvalidArguments("changekey was called with a key of " + std::to_string(key.size()) +
                           " bytes, expected 16 that are not all zero");
  }
  if (!nodes_.changeKey(address, key.data()))
    throw InvalidArguments("changekey was called for " + std::to_string(address) +
                           ", which is no stack node's address");
}

std::string NodeManager::getLinkId(const Call& call) const {
  require(call, "uu", "uu: the address of a node and the type of a link");
  std::uint32_t address = 0, type = 0;
  ConstIterator argument = call.begin();
  argument.read(address, type);
  return nodes_.getLinkId(address, static_cast<NodeLinkType>(type));
}

}  // namespace Quarnix::Hevra::Stack
