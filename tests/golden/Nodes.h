// The nodes and links that the golden messages hold, and comparing those read with them.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <tuple>
#include <typeinfo>

#include <bus/NodeLinkWrapper.h>
#include <bus/RemoteActuatorNodeWrapper.h>
#include <bus/RemoteControllerNodeWrapper.h>
#include <bus/RemoteSensorNodeWrapper.h>
#include <bus/StackNodeWrapper.h>
#include <tests/golden/Golden.h>

namespace Quarnix::Bus::Message {

using namespace Hevra;

template <std::size_t N>
using Block = std::array<std::uint8_t, N>;

/// N bytes, the first `first`, each `step` above the one before.
template <std::size_t N>
Block<N> block(unsigned first, unsigned step = 1) {
  Block<N> bytes{};
  for (unsigned i = 0; i < N; ++i) bytes[i] = static_cast<std::uint8_t>(first + step * i);
  return bytes;
}

/// The head has another value in every field, or the highest in each.
template <class Kind>
Kind headed(unsigned nodeClass, bool isHigh) {
  Kind node;
  const unsigned step = isHigh ? 0 : 1;
  node.setNodeClass(NodeClass{nodeClass});
  node.setAddress(isHigh ? 4294967295 : 0x01020304);
  node.setNodeType(isHigh ? 65535 : 0xCFC5);
  node.setManufacturerId(isHigh ? 255 : 5);
  node.setFirstIdentity(block<14>(isHigh ? 255 : 0x10, step).data());
  node.setSecondIdentity(block<16>(isHigh ? 255 : 0x20, step).data());
  node.setThirdIdentity(block<16>(isHigh ? 255 : 0x30, step).data());
  node.setStamp(isHigh ? 18446744073709551615u : 0x0607080910111213u);
  node.setState(isHigh ? 255 : 0x8E);
  node.setExtra(isHigh ? 4294967295 : 0x15161718);
  node.setBackboneAddress(isHigh ? 4294967295 : 0x191A1B1C);
  return node;
}

inline RemoteActuatorNode actuator(RemoteActuatorNode node, std::uint8_t multiInformation, std::uint16_t timeStamp) {
  node.getInfo().setMultiInformationByte(multiInformation);
  node.getInfo().setTimeStamp(timeStamp);
  return node;
}

inline RemoteSensorNode sensor(RemoteSensorNode node, const Block<6>& bytes, const std::array<std::uint16_t, 3>& words,
                               bool isListening) {
  SensorInformation& info = node.getInfo();
  info.setMeasuredValueParameterType(bytes[0]);
  info.setMinimalSensedValue(words[0]);
  info.setMaximalSensedValue(words[1]);
  info.setScaleFactor(bytes[1]);
  info.setResolutionValue(bytes[2]);
  info.setResolutionScaleFactor(bytes[3]);
  info.setOperatingMode(bytes[4]);
  info.setMaxNumberOfEventHandled(bytes[5]);
  info.setMinRefreshTimePeriod(words[2]);
  node.setListening(isListening);
  return node;
}

inline StackNode stack(StackNode node, const Block<16>& key, const Block<16>& oldKey, const Block<3>& shortBlock,
                       const Block<4>& longBlock, const char* label) {
  node.setKey(key.data());
  node.setOldKey(oldKey.data());
  node.setShortBlock(shortBlock.data());
  node.setLongBlock(longBlock.data());
  node.setLabel(label);
  return node;
}

/// What a node read has that is not on the wire but comes from its head.
inline void expectDerived(const Node&) {}
inline void expectDerived(const RemoteActuatorNode& node) {
  const ActuatorInformation& info = node.getInfo();
  EXPECT_EQ(std::tuple(info.getNodeType(), info.getManufacturerId(), info.getBackboneAddress()),
            std::tuple(node.getNodeType(), node.getManufacturerId(), node.getBackboneAddress()));
}
inline void expectDerived(const RemoteSensorNode& node) {
  const SensorInformation& info = node.getInfo();
  EXPECT_EQ(std::tuple(info.getSensorType(), info.getManufacturerId(), info.getBackboneAddress()),
            std::tuple(node.getNodeType() == 0xCFC5 ? 0x3F : 255, node.getManufacturerId(), node.getBackboneAddress()));
}

/// A node of any kind as an argument.
struct Record {
  virtual ~Record() = default;
  virtual void write(Iterator& append) const = 0;
  virtual void expectIs(const Node& found) const = 0;
};

template <class Kind>
struct RecordOf : Record {
  explicit RecordOf(const Kind& expected) : node(expected) {}
  void write(Iterator& append) const override { Bus::Type::StructWrapper<Kind>().serialize(append, node); }
  void expectIs(const Node& found) const override {
    ASSERT_EQ(typeid(found), typeid(Kind));
    EXPECT_EQ(found.getNodeClass(), node.getNodeClass());  // of these two only the low bytes are written
    EXPECT_EQ(found.getState(), node.getState());
    EXPECT_EQ(written<Bus::Type::StructWrapper<Kind>>(static_cast<const Kind&>(found)),
              written<Bus::Type::StructWrapper<Kind>>(node));
    expectDerived(static_cast<const Kind&>(found));
  }
  void expect(ConstIterator& read) const {
    Kind found;
    Bus::Type::StructWrapper<Kind>().deserialize(read, found);
    expectIs(found);
    ++read;
  }

  Kind node;
};

template <class Kind>
struct Pair {
  const char* name;
  const char* signature;
  RecordOf<Kind> full, high;
};

inline const Pair<RemoteActuatorNode> ACTUATORS{"actuator", "(uyqyayayaytyuuyq)",
                                                RecordOf(actuator(headed<RemoteActuatorNode>(5, false), 0x81, 0x8283)),
                                                RecordOf(actuator(headed<RemoteActuatorNode>(0, true), 255, 65535))};
inline const Pair<RemoteControllerNode> CONTROLLERS{"controller", "(uyqyayayaytyuu)",
                                                    RecordOf(headed<RemoteControllerNode>(6, false)),
                                                    RecordOf(headed<RemoteControllerNode>(6, true))};
inline const Pair<RemoteSensorNode> SENSORS{
    "sensor", "(uyqyayayaytyuuyqqyyyyyqb)",
    RecordOf(sensor(headed<RemoteSensorNode>(1, false), {0x91, 0x96, 0x97, 0x98, 0x99, 0x9A}, {0x9293, 0x9495, 0x9B9C},
                    true)),
    RecordOf(sensor(headed<RemoteSensorNode>(1, true), block<6>(255, 0), {65535, 65535, 65535}, false))};
inline const Pair<StackNode> STACKS{"stack", "(uyqyayayaytyuuayayayays)",
                                    RecordOf(stack(headed<StackNode>(2, false), block<16>(0x30), block<16>(0x40),
                                                   block<3>(0x50), block<4>(0x60), TEXT)),
                                    RecordOf(stack(headed<StackNode>(2, true), block<16>(255, 0), block<16>(255, 0),
                                                   block<3>(255, 0), block<4>(255, 0), ""))};

using Link = Wrapped<Bus::Type::StructWrapper<NodeLink>, NodeLink>;

inline Link linkOf(std::uint32_t node, std::uint32_t stack, const char* id, NodeLinkType type) {
  NodeLink link;
  link.setNodeAddress(node);
  link.setStackAddress(stack);
  link.setLinkId(id);
  link.setLinkType(type);
  return {link};
}

inline const Link FULL_LINK = linkOf(0x71727374, 0x75767778, TEXT, NodeLinkType{0x797A7B7C});
inline const Link LEAST_LINK = linkOf(0, 4294967295, "", NodeLinkType::UNKNOWN);

}  // namespace Quarnix::Bus::Message
