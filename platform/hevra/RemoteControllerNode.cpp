// The key function of RemoteControllerNode.
#include <platform/hevra/RemoteControllerNode.h>

namespace Quarnix::Hevra {

RemoteControllerNode::~RemoteControllerNode() = default;

}  // namespace Quarnix::Hevra
