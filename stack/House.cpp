// Makes the nodes of the small house.
#include <stack/House.h>

#include <cstdint>

namespace Quarnix::Hevra::Stack {

namespace {

constexpr std::uint32_t GATEWAY = 0x1000;
constexpr std::uint32_t SHUTTER = 0x1002;

template <class Kind>
Kind make(std::uint32_t address, NodeClass nodeClass, std::uint16_t nodeType, std::uint32_t backboneAddress) {
  Kind node;
  node.setAddress(address);
  node.setNodeClass(nodeClass);
  node.setNodeType(nodeType);
  node.setManufacturerId(2);
  node.setBackboneAddress(backboneAddress);
  Node::FirstIdentity identity{};
  for (unsigned i = 0; i < 4; ++i) identity[i] = static_cast<std::uint8_t>(address >> (24 - 8 * i));
  node.setFirstIdentity(identity.data());
  return node;
}

StackNode makeGateway() {
  auto node = make<StackNode>(GATEWAY, NodeClass::STACK, 0x0001, 0);
  StackNode::Key key{};
  for (std::size_t i = 0; i < key.size(); ++i) key[i] = static_cast<std::uint8_t>(0xA0 + i);
  node.setKey(key.data());
  node.setLabel("gateway");
  return node;
}

RemoteActuatorNode makeActuator(std::uint32_t address, NodeClass nodeClass, std::uint16_t nodeType) {
  auto node = make<RemoteActuatorNode>(address, nodeClass, nodeType, GATEWAY);
  node.getInfo().setMultiInformationByte(0x01);
  node.getInfo().setTimeStamp(1);
  return node;
}

RemoteSensorNode makeThermometer() {
  auto node = make<RemoteSensorNode>(0x2001, NodeClass::SENSOR, 0x0FC5, SHUTTER);
  SensorInformation& info = node.getInfo();
  info.setMeasuredValueParameterType(3);
  info.setMinimalSensedValue(2331);
  info.setMaximalSensedValue(3531);
  info.setScaleFactor(1);
  info.setResolutionValue(5);
  info.setResolutionScaleFactor(1);
  info.setMaxNumberOfEventHandled(4);
  info.setMinRefreshTimePeriod(60);
  node.setListening(true);
  return node;
}

}  // namespace

std::vector<AnyNode> makeHouse() {
  return {makeGateway(),
          makeActuator(0x1001, NodeClass::ACTUATOR_WITH_SENSOR, 0x0181),
          makeActuator(SHUTTER, NodeClass::REPEATING_ACTUATOR, 0x0040),
          makeActuator(0x123456, NodeClass::ACTUATOR, 0x0180),
          makeThermometer(),
          make<RemoteControllerNode>(0x3001, NodeClass::CONTROLLER, 0x0200, GATEWAY)};
}

}  // namespace Quarnix::Hevra::Stack
