// What all radio nodes have in common: the head of every node record.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include <platform/core/Export.h>
#include <platform/hevra/NodeClass.h>

namespace Quarnix::Hevra {

/// A radio node, which is of one of four kinds: StackNode, RemoteActuatorNode, RemoteControllerNode, RemoteSensorNode.
/// A kind's default object has the kind's own node class and is zero otherwise.
///
/// The library gives no meaning to the identities, `stamp`, `state` and `extra`; it carries them unchanged both ways.
/// The class and the state travel as their low bytes. A node is copied as the kind that it is, never as a bare Node.
/// Threads: as any value.
class HEVRA_EXPORT Node {
 public:
  using FirstIdentity = std::array<std::uint8_t, 14>;
  using SecondIdentity = std::array<std::uint8_t, 16>;
  using ThirdIdentity = std::array<std::uint8_t, 16>;

  Node() = default;
  virtual ~Node();

  std::uint32_t getAddress() const noexcept { return address_; }
  void setAddress(std::uint32_t address) noexcept { address_ = address; }

  /// Decides which record the node is sent as. It must fit the kind of the object.
  NodeClass getNodeClass() const noexcept { return nodeClass_; }
  void setNodeClass(NodeClass nodeClass) noexcept { nodeClass_ = nodeClass; }

  /// What the node is within its class. Bits 6 to 13 of a sensor's are the sensor type.
  std::uint16_t getNodeType() const noexcept { return nodeType_; }
  void setNodeType(std::uint16_t nodeType) noexcept { nodeType_ = nodeType; }

  std::uint8_t getManufacturerId() const noexcept { return manufacturerId_; }
  void setManufacturerId(std::uint8_t manufacturerId) noexcept { manufacturerId_ = manufacturerId; }

  /// Each setter copies as many bytes as its block has (14, 16, 16).
  const FirstIdentity& getFirstIdentity() const noexcept { return firstIdentity_; }
  void setFirstIdentity(const std::uint8_t* bytes) noexcept { copy(bytes, firstIdentity_); }
  const SecondIdentity& getSecondIdentity() const noexcept { return secondIdentity_; }
  void setSecondIdentity(const std::uint8_t* bytes) noexcept { copy(bytes, secondIdentity_); }
  /// These bytes of a stack node are its key: keep them secret.
  const ThirdIdentity& getThirdIdentity() const noexcept { return thirdIdentity_; }
  void setThirdIdentity(const std::uint8_t* bytes) noexcept { copy(bytes, thirdIdentity_); }

  std::uint64_t getStamp() const noexcept { return stamp_; }
  void setStamp(std::uint64_t stamp) noexcept { stamp_ = stamp; }

  std::uint32_t getState() const noexcept { return state_; }
  void setState(std::uint32_t state) noexcept { state_ = state; }

  std::uint32_t getExtra() const noexcept { return extra_; }
  void setExtra(std::uint32_t extra) noexcept { extra_ = extra; }

  std::uint32_t getBackboneAddress() const noexcept { return backboneAddress_; }
  void setBackboneAddress(std::uint32_t backboneAddress) noexcept { backboneAddress_ = backboneAddress; }

 protected:
  explicit Node(NodeClass nodeClass) noexcept : nodeClass_(nodeClass) {}
  Node(const Node&) = default;
  Node& operator=(const Node&) = default;

  template <std::size_t N>
  static void copy(const std::uint8_t* from, std::array<std::uint8_t, N>& to) noexcept {
    std::memcpy(to.data(), from, N);
  }

 private:
  // Ordered by size, not as on the bus: a gateway keeps thousands.
  std::uint64_t stamp_ = 0;
  std::uint32_t address_ = 0;
  NodeClass nodeClass_ = NodeClass::ACTUATOR;
  std::uint32_t state_ = 0;
  std::uint32_t extra_ = 0;
  std::uint32_t backboneAddress_ = 0;
  std::uint16_t nodeType_ = 0;
  FirstIdentity firstIdentity_{};
  SecondIdentity secondIdentity_{};
  ThirdIdentity thirdIdentity_{};
  std::uint8_t manufacturerId_ = 0;
};

}  // namespace Quarnix::Hevra
