// The key function of Node.
#include <platform/hevra/Node.h>

namespace Quarnix::Hevra {

Node::~Node() = default;

}  // namespace Quarnix::Hevra
