// The key function of the node managers, and the notifications that do nothing by default.
#include <platform/hevra/interface/node/Manager.h>

namespace Quarnix::Hevra::Interface::Node {

Manager::~Manager() = default;

void Manager::modified(const Hevra::Node&, NodeAction) {}

void Manager::linkModified(const Hevra::Node&, const NodeLink&, NodeAction) {}

}  // namespace Quarnix::Hevra::Interface::Node
