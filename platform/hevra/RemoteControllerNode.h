// A node that commands others: a remote control, a wall switch.
#pragma once

#include <platform/hevra/Node.h>

namespace Quarnix::Hevra {

/// It has the head of a node and nothing else.
class HEVRA_EXPORT RemoteControllerNode : public Node {
 public:
  RemoteControllerNode() noexcept : Node(NodeClass::CONTROLLER) {}
  ~RemoteControllerNode() override;
};

}  // namespace Quarnix::Hevra
