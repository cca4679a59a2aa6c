// A node that does something: a motor, a lamp.
#pragma once

#include <platform/hevra/ActuatorInformation.h>
#include <platform/hevra/Node.h>

namespace Quarnix::Hevra {

/// Its class is ACTUATOR, ACTUATOR_WITH_SENSOR or REPEATING_ACTUATOR.
class HEVRA_EXPORT RemoteActuatorNode : public Node {
 public:
  RemoteActuatorNode() noexcept : Node(NodeClass::ACTUATOR) {}
  ~RemoteActuatorNode() override;

  const ActuatorInformation& getInfo() const noexcept { return info_; }
  ActuatorInformation& getInfo() noexcept { return info_; }

 private:
  ActuatorInformation info_;
};

}  // namespace Quarnix::Hevra
