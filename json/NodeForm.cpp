// Describes the keys of each kind once, for listing, reading and writing them.
#include <json/NodeForm.h>

#include <iterator>
#include <map>
#include <type_traits>
#include <utility>

#include <json/Hexadecimal.h>
#include <json/Malformed.h>
#include <json/ObjectReader.h>

namespace Quarnix::Hevra::Json {

using nlohmann::json;
using nlohmann::ordered_json;
using Stack::AnyNode;
using Stack::headOf;
using Stack::kindOf;
using Stack::KINDS;

namespace {

constexpr const char* KIND_NAMES[] = {"actuator", "sensor", "stack", "controller"};  // in the order of AnyNode
static_assert(std::size(KIND_NAMES) == KINDS);

template <class Use, class N>
void describeHead(Use& use, N& node) {
  use.key("kind");
  use.number("address", node, &Node::getAddress, &Node::setAddress);
  use.nodeClass("nodeClass", node);
  use.number("nodeType", node, &Node::getNodeType, &Node::setNodeType);
  use.number("manufacturerId", node, &Node::getManufacturerId, &Node::setManufacturerId);
  use.block("firstIdentity", node, &Node::getFirstIdentity, &Node::setFirstIdentity);
  use.block("secondIdentity", node, &Node::getSecondIdentity, &Node::setSecondIdentity);
  use.block("thirdIdentity", node, &Node::getThirdIdentity, &Node::setThirdIdentity);
  use.number("stamp", node, &Node::getStamp, &Node::setStamp);
  use.state("state", node);
  use.number("extra", node, &Node::getExtra, &Node::setExtra);
  use.number("backboneAddress", node, &Node::getBackboneAddress, &Node::setBackboneAddress);
}

template <class Use, class N>
void describe(Use& use, N& node) {
  using Kind = std::remove_const_t<N>;
  describeHead(use, node);
  if constexpr (std::is_same_v<Kind, RemoteActuatorNode>) {
    using Info = ActuatorInformation;
    auto& info = node.getInfo();
    use.number("multiInformationByte", info, &Info::getMultiInformationByte, &Info::setMultiInformationByte);
    use.number("timeStamp", info, &Info::getTimeStamp, &Info::setTimeStamp);
  } else if constexpr (std::is_same_v<Kind, RemoteSensorNode>) {
    using Info = SensorInformation;
    auto& info = node.getInfo();
    use.number("measuredValueParameterType", info, &Info::getMeasuredValueParameterType,
               &Info::setMeasuredValueParameterType);
    use.number("minimalSensedValue", info, &Info::getMinimalSensedValue, &Info::setMinimalSensedValue);
    use.number("maximalSensedValue", info, &Info::getMaximalSensedValue, &Info::setMaximalSensedValue);
    use.number("scaleFactor", info, &Info::getScaleFactor, &Info::setScaleFactor);
    use.number("resolutionValue", info, &Info::getResolutionValue, &Info::setResolutionValue);
    use.number("resolutionScaleFactor", info, &Info::getResolutionScaleFactor, &Info::setResolutionScaleFactor);
    use.number("operatingMode", info, &Info::getOperatingMode, &Info::setOperatingMode);
    use.number("maxNumberOfEventHandled", info, &Info::getMaxNumberOfEventHandled, &Info::setMaxNumberOfEventHandled);
    use.number("minRefreshTimePeriod", info, &Info::getMinRefreshTimePeriod, &Info::setMinRefreshTimePeriod);
    use.flag("listening", node, &RemoteSensorNode::isListening, &RemoteSensorNode::setListening);
  } else if constexpr (std::is_same_v<Kind, StackNode>) {
    use.block("key", node, &StackNode::getKey, &StackNode::setKey);
    use.block("oldKey", node, &StackNode::getOldKey, &StackNode::setOldKey);
    use.block("shortBlock", node, &StackNode::getShortBlock, &StackNode::setShortBlock);
    use.block("longBlock", node, &StackNode::getLongBlock, &StackNode::setLongBlock);
    use.text("label", node, &StackNode::getLabel, &StackNode::setLabel);
  }
}

/// Lists the keys of a kind.
struct Keys {
  std::vector<const char*> keys;

  void key(const char* name) { keys.push_back(name); }
  template <class... Rest>
  void number(const char* name, Rest&&...) {
    key(name);
  }
  template <class... Rest>
  void block(const char* name, Rest&&...) {
    key(name);
  }
  template <class... Rest>
  void flag(const char* name, Rest&&...) {
    key(name);
  }
  template <class... Rest>
  void text(const char* name, Rest&&...) {
    key(name);
  }
  void nodeClass(const char* name, const Node&) { key(name); }
  void state(const char* name, const Node&) { key(name); }
};

/// Reads a node's members from JSON.
struct Filler {
  const ObjectReader& reader;

  void key(const char*) {}
  template <class O, class Get, class Set>
  void number(const char* name, O& object, Get, Set set) {
    (object.*set)(reader.integer<std::decay_t<std::invoke_result_t<Get, O&>>>(name));
  }
  template <class O, class Get, class Set>
  void block(const char* name, O& object, Get, Set set) {
    constexpr std::size_t SIZE = std::tuple_size_v<std::decay_t<std::invoke_result_t<Get, O&>>>;
    const auto refuse = [&](const std::string& given) {
      throw Malformed(reader.placeOf(name), given, std::to_string(2 * SIZE) + " hexadecimal digits");
    };
    if (!reader.at(name).is_string()) refuse(reader.has(name) ? "no text" : "nothing");
    const auto& digits = reader.at(name).template get_ref<const std::string&>();
    if (digits.size() != 2 * SIZE) refuse("a text of " + std::to_string(digits.size()) + " characters");
    const auto bytes = bytesOf(digits);
    if (!bytes) refuse("a text of other characters");
    (object.*set)(bytes->data());
  }
  template <class O, class Get, class Set>
  void flag(const char* name, O& object, Get, Set set) {
    (object.*set)(reader.boolean(name));
  }
  template <class O, class Get, class Set>
  void text(const char* name, O& object, Get, Set set) {
    (object.*set)(reader.text(name));
  }
  void nodeClass(const char* name, Node& node) {
    node.setNodeClass(static_cast<NodeClass>(reader.named<std::uint32_t>(name, NODE_CLASSES, true)));
  }
  void state(const char* name, Node& node) { node.setState(reader.integer<std::uint8_t>(name)); }
};

/// Writes a node's members after its kind.
struct Writer {
  ordered_json& form;

  void key(const char*) {}
  template <class O, class Get, class Set>
  void number(const char* name, const O& object, Get get, Set) {
    form[name] = (object.*get)();
  }
  template <class O, class Get, class Set>
  void block(const char* name, const O& object, Get get, Set) {
    form[name] = digitsOf((object.*get)());
  }
  template <class O, class Get, class Set>
  void flag(const char* name, const O& object, Get get, Set) {
    form[name] = (object.*get)();
  }
  template <class O, class Get, class Set>
  void text(const char* name, const O& object, Get get, Set) {
    form[name] = (object.*get)();
  }
  void nodeClass(const char* name, const Node& node) { form[name] = static_cast<std::uint32_t>(node.getNodeClass()); }
  void state(const char* name, const Node& node) { form[name] = node.getState(); }
};

template <std::size_t K>
AnyNode readKind(const json& form, const std::string& where) {
  AnyNode any(std::in_place_index<K>);
  auto& node = std::get<K>(any);
  Keys keys;
  describe(keys, node);
  const ObjectReader reader(form, where, keys.keys);
  Filler filler{reader};
  describe(filler, node);

  const auto kind = kindOf(node.getNodeClass());
  if (kind && kind != K)
    reader.refuse("nodeClass",
                  "a class of the kind " + std::string(KIND_NAMES[K]) + ", and not of " + KIND_NAMES[*kind]);
  if constexpr (std::is_same_v<std::variant_alternative_t<K, AnyNode>, StackNode>) {
    // The key is the third identity too, and was read last.
    if (*bytesOf(reader.text("thirdIdentity")) != std::vector(node.getKey().begin(), node.getKey().end()))
      throw Malformed(reader.placeOf("key"), "another key than thirdIdentity", "the same bytes");
  }
  return any;
}

template <std::size_t K = 0>
ordered_json writeKind(const Node& node) {
  using Kind = std::variant_alternative_t<K, AnyNode>;
  if (const auto* const ours = dynamic_cast<const Kind*>(&node)) {
    ordered_json form = {{"kind", KIND_NAMES[K]}};
    Writer writer{form};
    describe(writer, *ours);
    return form;
  }
  if constexpr (K + 1 < KINDS) return writeKind<K + 1>(node);
  throw std::bad_cast();
}

}  // namespace

std::span<const char* const> kindNames() noexcept { return KIND_NAMES; }

AnyNode readNode(const json& form, const std::string& where) {
  static constexpr AnyNode (*READ[])(const json&, const std::string&) = {readKind<0>, readKind<1>, readKind<2>,
                                                                         readKind<3>};
  if (!form.is_object()) throw Malformed(where, excerptOf(form), "a node, which is an object");
  const auto kind = form.find("kind");
  for (std::size_t i = 0; kind != form.end() && i < KINDS; ++i)
    if (*kind == KIND_NAMES[i]) return READ[i](form, where);
  throw Malformed(where + ".kind", kind == form.end() ? "nothing" : excerptOf(*kind),
                  "actuator, controller, sensor or stack");
}

std::vector<AnyNode> readNodes(const json& document, const std::string& name) {
  if (!document.is_array()) throw Malformed(name, excerptOf(document), "an array of nodes");
  std::vector<AnyNode> nodes;
  nodes.reserve(document.size());
  std::map<std::uint32_t, std::size_t> places;
  for (const json& form : document) {
    const std::string where = name + ": [" + std::to_string(nodes.size()) + "]";
    nodes.push_back(readNode(form, where));
    const Node& head = headOf(nodes.back());
    if (!kindOf(head.getNodeClass()))
      throw Malformed(where + ".nodeClass", excerptOf(form["nodeClass"]),
                      "a class that has a record: 0, 1, 2, 4, 5, 6");
    const auto [former, fresh] = places.emplace(head.getAddress(), places.size());
    if (!fresh) {
      throw Malformed(where + ".address", std::to_string(former->first),
                      "another than that of [" + std::to_string(former->second) + "]");
    }
  }
  return nodes;
}

ordered_json writeNode(const Node& node) { return writeKind<>(node); }

NodeLink readLink(const json& form, const std::string& where) {
  const ObjectReader reader(form, where, {"node", "stack", "id", "type"});
  NodeLink link;
  link.setNodeAddress(reader.integer<std::uint32_t>("node"));
  link.setStackAddress(reader.integer<std::uint32_t>("stack"));
  link.setLinkId(reader.text("id"));
  link.setLinkType(static_cast<NodeLinkType>(reader.named<std::int32_t>("type", LINK_TYPES, true)));
  return link;
}

ordered_json writeLink(const NodeLink& link) {
  return {{"node", link.getNodeAddress()},
          {"stack", link.getStackAddress()},
          {"id", link.getLinkId()},
          {"type", static_cast<std::int32_t>(link.getLinkType())}};
}

}  // namespace Quarnix::Hevra::Json
