// The key function of the controller nodes.
#include <platform/hevra/RemoteControllerNode.h>

namespace Quarnix::Hevra {

RemoteControllerNode::~RemoteControllerNode() = default;

}  // namespace Quarnix::Hevra
