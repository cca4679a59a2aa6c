// A node that measures something.
#pragma once

#include <platform/hevra/Node.h>
#include <platform/hevra/SensorInformation.h>

namespace Quarnix::Hevra {

/// Its class is SENSOR.
class HEVRA_EXPORT RemoteSensorNode : public Node {
 public:
  RemoteSensorNode() noexcept : Node(NodeClass::SENSOR) {}
  ~RemoteSensorNode() override;

  const SensorInformation& getInfo() const noexcept { return info_; }
  SensorInformation& getInfo() noexcept { return info_; }

  /// Whether the node receives at all times.
  bool isListening() const noexcept { return listening_; }
  void setListening(bool listening) noexcept { listening_ = listening; }

 private:
  bool listening_ = false;
  SensorInformation info_;
};

}  // namespace Quarnix::Hevra
