// The details of a sensor that its node's head does not have.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// The manufacturer, the sensor type and the backbone address come from the node's head: reading a node from the bus
/// sets them, and writing one leaves them out. All are carried unchanged, as Node says.
class SensorInformation {
 public:
  std::uint8_t getManufacturerId() const noexcept { return manufacturerId_; }
  void setManufacturerId(unsigned char manufacturerId) noexcept { manufacturerId_ = manufacturerId; }

  /// Bits 6 to 13 of the node type.
  std::uint8_t getSensorType() const noexcept { return sensorType_; }
  void setSensorType(unsigned char sensorType) noexcept { sensorType_ = sensorType; }

  std::uint32_t getBackboneAddress() const noexcept { return backboneAddress_; }
  void setBackboneAddress(const unsigned int& backboneAddress) noexcept { backboneAddress_ = backboneAddress; }

  std::uint8_t getMeasuredValueParameterType() const noexcept { return measuredValueParameterType_; }
  void setMeasuredValueParameterType(unsigned char type) noexcept { measuredValueParameterType_ = type; }

  std::uint16_t getMinimalSensedValue() const noexcept { return minimalSensedValue_; }
  void setMinimalSensedValue(unsigned short value) noexcept { minimalSensedValue_ = value; }

  std::uint16_t getMaximalSensedValue() const noexcept { return maximalSensedValue_; }
  void setMaximalSensedValue(unsigned short value) noexcept { maximalSensedValue_ = value; }

  std::uint8_t getScaleFactor() const noexcept { return scaleFactor_; }
  void setScaleFactor(unsigned char factor) noexcept { scaleFactor_ = factor; }

  std::uint8_t getResolutionValue() const noexcept { return resolutionValue_; }
  void setResolutionValue(unsigned char value) noexcept { resolutionValue_ = value; }

  std::uint8_t getResolutionScaleFactor() const noexcept { return resolutionScaleFactor_; }
  void setResolutionScaleFactor(unsigned char factor) noexcept { resolutionScaleFactor_ = factor; }

  std::uint8_t getOperatingMode() const noexcept { return operatingMode_; }
  void setOperatingMode(unsigned char mode) noexcept { operatingMode_ = mode; }

  std::uint8_t getMaxNumberOfEventHandled() const noexcept { return maxNumberOfEventHandled_; }
  void setMaxNumberOfEventHandled(unsigned char number) noexcept { maxNumberOfEventHandled_ = number; }

  std::uint16_t getMinRefreshTimePeriod() const noexcept { return minRefreshTimePeriod_; }
  void setMinRefreshTimePeriod(unsigned short period) noexcept { minRefreshTimePeriod_ = period; }

 private:
  std::uint32_t backboneAddress_ = 0;
  std::uint16_t minimalSensedValue_ = 0;
  std::uint16_t maximalSensedValue_ = 0;
  std::uint16_t minRefreshTimePeriod_ = 0;
  std::uint8_t manufacturerId_ = 0;
  std::uint8_t sensorType_ = 0;
  std::uint8_t measuredValueParameterType_ = 0;
  std::uint8_t scaleFactor_ = 0;
  std::uint8_t resolutionValue_ = 0;
  std::uint8_t resolutionScaleFactor_ = 0;
  std::uint8_t operatingMode_ = 0;
  std::uint8_t maxNumberOfEventHandled_ = 0;
};

}  // namespace Quarnix::Hevra
