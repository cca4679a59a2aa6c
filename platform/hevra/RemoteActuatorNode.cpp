// The key function of the actuator nodes.
#include <platform/hevra/RemoteActuatorNode.h>

namespace Quarnix::Hevra {

RemoteActuatorNode::~RemoteActuatorNode() = default;

}  // namespace Quarnix::Hevra
