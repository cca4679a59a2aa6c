// The key function of the nodes.
#include <platform/hevra/Node.h>

namespace Quarnix::Hevra {

Node::~Node() = default;

}  // namespace Quarnix::Hevra
