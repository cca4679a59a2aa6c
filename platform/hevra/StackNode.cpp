// Tells whether a stack node has a key.
#include <platform/hevra/StackNode.h>

#include <algorithm>
#include <tuple>

namespace Quarnix::Hevra {

StackNode::~StackNode() = default;

bool StackNode::isKeyEmpty(const unsigned char* key) noexcept {
  return std::all_of(key, key + std::tuple_size_v<Key>, [](unsigned char byte) { return byte == 0; });
}

}  // namespace Quarnix::Hevra
