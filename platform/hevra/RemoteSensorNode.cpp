// The key function of the sensor nodes.
#include <platform/hevra/RemoteSensorNode.h>

namespace Quarnix::Hevra {

RemoteSensorNode::~RemoteSensorNode() = default;

}  // namespace Quarnix::Hevra
