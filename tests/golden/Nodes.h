// The nodes and links that the golden messages hold: making them, and comparing those read with them, field by field.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <tuple>
#include <typeinfo>

#include <bus/NodeLinkWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/StackNodeWrapper.h>

namespace Quarnix::Bus::Message {

using namespace Hevra;

inline constexpr char TEXT[] = "Grüße, 家 \U0001d11e \uffff";

template <std::size_t N>
using Block = std::array<std::uint8_t, N>;

/// N bytes, the first `first`, each `step` above the one before.
template <std::size_t N>
Block<N> block(unsigned first, unsigned step = 1) {
  Block<N> bytes{};
  for (unsigned i = 0; i < N; ++i) bytes[i] = static_cast<std::uint8_t>(first + step * i);
  return bytes;
}

using Head = std::tuple<std::uint32_t, NodeClass, std::uint16_t, std::uint8_t, Block<14>, Block<16>, Block<16>,
                        std::uint64_t, std::uint32_t, std::uint32_t, std::uint32_t>;

inline Head headOf(const Node& node) {
  return {node.getAddress(),       node.getNodeClass(),      node.getNodeType(),       node.getManufacturerId(),
          node.getFirstIdentity(), node.getSecondIdentity(), node.getThirdIdentity(),  node.getStamp(),
          node.getState(),         node.getExtra(),          node.getBackboneAddress()};
}

inline void setHead(Node& node, const Head& head) {
  const auto& [address, nodeClass, nodeType, manufacturerId, first, second, third, stamp, state, extra, backbone] =
      head;
  node.setAddress(address);
  node.setNodeClass(nodeClass);
  node.setNodeType(nodeType);
  node.setManufacturerId(manufacturerId);
  node.setFirstIdentity(first.data());
  node.setSecondIdentity(second.data());
  node.setThirdIdentity(third.data());
  node.setStamp(stamp);
  node.setState(state);
  node.setExtra(extra);
  node.setBackboneAddress(backbone);
}

/// What a kind has behind the head; the last three of actuators and sensors come from the head and are not written.
template <class Kind>
struct Members;

template <>
struct Members<RemoteActuatorNode> {
  using Fields = std::tuple<std::uint8_t, std::uint16_t, std::uint16_t, std::uint8_t, std::uint32_t>;
  static Fields of(const RemoteActuatorNode& node) {
    const ActuatorInformation& info = node.getInfo();
    return {info.getMultiInformationByte(), info.getTimeStamp(), info.getNodeType(), info.getManufacturerId(),
            info.getBackboneAddress()};
  }
  static void set(RemoteActuatorNode& node, const Fields& fields) {
    node.getInfo().setMultiInformationByte(std::get<0>(fields));
    node.getInfo().setTimeStamp(std::get<1>(fields));
  }
};

template <>
struct Members<RemoteControllerNode> {
  using Fields = std::tuple<>;
  static Fields of(const RemoteControllerNode&) { return {}; }
  static void set(RemoteControllerNode&, const Fields&) {}
};

template <>
struct Members<RemoteSensorNode> {
  using Fields = std::tuple<std::uint8_t, std::uint16_t, std::uint16_t, std::uint8_t, std::uint8_t, std::uint8_t,
                            std::uint8_t, std::uint8_t, std::uint16_t, bool, std::uint8_t, std::uint8_t, std::uint32_t>;
  static Fields of(const RemoteSensorNode& node) {
    const SensorInformation& info = node.getInfo();
    return {info.getMeasuredValueParameterType(),
            info.getMinimalSensedValue(),
            info.getMaximalSensedValue(),
            info.getScaleFactor(),
            info.getResolutionValue(),
            info.getResolutionScaleFactor(),
            info.getOperatingMode(),
            info.getMaxNumberOfEventHandled(),
            info.getMinRefreshTimePeriod(),
            node.isListening(),
            info.getManufacturerId(),
            info.getSensorType(),
            info.getBackboneAddress()};
  }
  static void set(RemoteSensorNode& node, const Fields& fields) {
    SensorInformation& info = node.getInfo();
    info.setMeasuredValueParameterType(std::get<0>(fields));
    info.setMinimalSensedValue(std::get<1>(fields));
    info.setMaximalSensedValue(std::get<2>(fields));
    info.setScaleFactor(std::get<3>(fields));
    info.setResolutionValue(std::get<4>(fields));
    info.setResolutionScaleFactor(std::get<5>(fields));
    info.setOperatingMode(std::get<6>(fields));
    info.setMaxNumberOfEventHandled(std::get<7>(fields));
    info.setMinRefreshTimePeriod(std::get<8>(fields));
    node.setListening(std::get<9>(fields));
  }
};

template <>
struct Members<StackNode> {
  using Fields = std::tuple<Block<16>, Block<16>, Block<3>, Block<4>, std::string>;
  static Fields of(const StackNode& node) {
    return {node.getKey(), node.getOldKey(), node.getShortBlock(), node.getLongBlock(), node.getLabel()};
  }
  static void set(StackNode& node, const Fields& fields) {
    const auto& [key, oldKey, shortBlock, longBlock, label] = fields;
    node.setKey(key.data());
    node.setOldKey(oldKey.data());
    node.setShortBlock(shortBlock.data());
    node.setLongBlock(longBlock.data());
    node.setLabel(label);
  }
};

template <class Kind>
struct Expected {
  Head head;
  typename Members<Kind>::Fields members;
};

template <class Kind>
Kind made(const Expected<Kind>& expected) {
  Kind node;
  setHead(node, expected.head);
  Members<Kind>::set(node, expected.members);
  return node;
}

template <class Kind>
void expectNode(const Node& node, const Expected<Kind>& expected) {
  ASSERT_EQ(typeid(node), typeid(Kind));
  EXPECT_EQ(headOf(node), expected.head);
  EXPECT_EQ(Members<Kind>::of(static_cast<const Kind&>(node)), expected.members);
}

template <class Kind>
void appendNode(Iterator& arguments, const Expected<Kind>& expected) {
  Bus::Type::StructWrapper<Kind>().serialize(arguments, made(expected));
}

inline Head full(unsigned nodeClass) {
  return {0x01020304,      NodeClass{nodeClass}, 0xCFC5, 5,          block<14>(0x10), block<16>(0x20),
          block<16>(0x30), 0x0607080910111213,   0x8E,   0x15161718, 0x191A1B1C};
}

inline Head high(unsigned nodeClass) {
  return {4294967295,        NodeClass{nodeClass},  65535, 255,        block<14>(255, 0), block<16>(255, 0),
          block<16>(255, 0), 18446744073709551615u, 255,   4294967295, 4294967295};
}

template <class Kind>
struct Pair {
  const char* name;
  const char* signature;
  Expected<Kind> full, high;
};

inline const Pair<RemoteActuatorNode> ACTUATORS{"actuator",
                                                "(uyqyayayaytyuuyq)",
                                                {full(5), {0x81, 0x8283, 0xCFC5, 5, 0x191A1B1C}},
                                                {high(0), {255, 65535, 65535, 255, 4294967295}}};
inline const Pair<RemoteControllerNode> CONTROLLERS{"controller", "(uyqyayayaytyuu)", {full(6), {}}, {high(6), {}}};
inline const Pair<RemoteSensorNode> SENSORS{
    "sensor",
    "(uyqyayayaytyuuyqqyyyyyqb)",
    {full(1), {0x91, 0x9293, 0x9495, 0x96, 0x97, 0x98, 0x99, 0x9A, 0x9B9C, true, 5, 0x3F, 0x191A1B1C}},
    {high(1), {255, 65535, 65535, 255, 255, 255, 255, 255, 65535, false, 255, 255, 4294967295}}};
inline const Pair<StackNode> STACKS{
    "stack",
    "(uyqyayayaytyuuayayayays)",
    {full(2), {block<16>(0x30), block<16>(0x40), block<3>(0x50), block<4>(0x60), TEXT}},
    {high(2), {block<16>(255, 0), block<16>(255, 0), block<3>(255, 0), block<4>(255, 0), ""}}};

template <class Use>
void forEachKind(const Use& use) {
  use(ACTUATORS);
  use(CONTROLLERS);
  use(SENSORS);
  use(STACKS);
}

using Link = std::tuple<std::uint32_t, std::uint32_t, std::string, NodeLinkType>;
inline const Link FULL_LINK{0x71727374, 0x75767778, TEXT, NodeLinkType{0x797A7B7C}};
inline const Link LEAST_LINK{0, 4294967295, "", NodeLinkType::UNKNOWN};

inline Link fieldsOf(const NodeLink& link) {
  return {link.getNodeAddress(), link.getStackAddress(), link.getLinkId(), link.getLinkType()};
}

inline void appendLink(Iterator& arguments, const Link& fields) {
  NodeLink link;
  link.setNodeAddress(std::get<0>(fields));
  link.setStackAddress(std::get<1>(fields));
  link.setLinkId(std::get<2>(fields));
  link.setLinkType(std::get<3>(fields));
  Bus::Type::StructWrapper<NodeLink>().serialize(arguments, link);
}

}  // namespace Quarnix::Bus::Message
