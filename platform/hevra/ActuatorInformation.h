// The details of an actuator that its node's head does not have.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// The node type, the manufacturer and the backbone address repeat the node's own: reading a node from the bus sets
/// them, and writing one leaves them out. All are carried unchanged, as Node says.
class ActuatorInformation {
 public:
  std::uint16_t getNodeType() const noexcept { return nodeType_; }
  void setNodeType(unsigned short nodeType) noexcept { nodeType_ = nodeType; }

  std::uint8_t getManufacturerId() const noexcept { return manufacturerId_; }
  void setManufacturerId(unsigned char manufacturerId) noexcept { manufacturerId_ = manufacturerId; }

  std::uint32_t getBackboneAddress() const noexcept { return backboneAddress_; }
  void setBackboneAddress(const unsigned int& backboneAddress) noexcept { backboneAddress_ = backboneAddress; }

  std::uint8_t getMultiInformationByte() const noexcept { return multiInformationByte_; }
  void setMultiInformationByte(unsigned char multiInformationByte) noexcept {
    multiInformationByte_ = multiInformationByte;
  }

  std::uint16_t getTimeStamp() const noexcept { return timeStamp_; }
  void setTimeStamp(unsigned short timeStamp) noexcept { timeStamp_ = timeStamp; }

 private:
  std::uint32_t backboneAddress_ = 0;
  std::uint16_t nodeType_ = 0;
  std::uint16_t timeStamp_ = 0;
  std::uint8_t manufacturerId_ = 0;
  std::uint8_t multiInformationByte_ = 0;
};

}  // namespace Quarnix::Hevra
