// The key function of RemoteActuatorNode.
#include <platform/hevra/RemoteActuatorNode.h>

namespace Quarnix::Hevra {

RemoteActuatorNode::~RemoteActuatorNode() = default;

}  // namespace Quarnix::Hevra
