// Writes the stack node to the bus and reads it back, and hides its keys in traces.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Bus::Type {

/// A structure of sixteen values, "(uyqyayayaytyuuayayayays)": the head (see Wrapper<Node>), key, old key, the blocks
/// of three and four bytes, label. The key travels twice, because it is also the third identity in the head. Reading
/// takes the second one.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::StackNode> {
 public:
  virtual ~StructWrapper();
  /// Has every trace hide the keys of stack nodes and the key of "changekey" from now on (Trace::setRedactor). The node
  /// manager calls it when it is made. If you read or write stack nodes without one, call it before the first message.
  static void hideKeysInTraces() noexcept;

  /// Raises InvalidArgument for a label that is not UTF-8; then it has appended nothing.
  virtual void serialize(Message::Iterator& iterator, const Hevra::StackNode& node) const;
  /// Reads into an existing node. The iterator stays on the structure. It skips surplus bytes of a block. If bytes are
  /// missing, the rest of the short or the long block stays as it is, the rest of the key becomes zero, and the rest of
  /// the old key is taken from the key. Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::StackNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
