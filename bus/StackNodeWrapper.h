// The bus form of the stack node.
#pragma once

#include <string>

#include <platform/bus/type/Wrapper.h>
#include <platform/hevra/StackNode.h>

namespace Quarnix::Bus::Type {

/// A structure of sixteen values, "(uyqyayayaytyuuayayayays)": the head, key, old key, the blocks of three and four
/// bytes, label. The key travels twice, because it is the head's third identity too; the second one counts.
template <>
class HEVRA_EXPORT StructWrapper<Hevra::StackNode> {
 public:
  virtual ~StructWrapper();
  /// Raises InvalidArgument for a label that is not UTF-8, with nothing appended.
  virtual void serialize(Message::Iterator& iterator, const Hevra::StackNode& node) const;
  /// Reads into an existing node; the iterator stays on the structure. Surplus bytes of a block are skipped; missing
  /// ones leave the rest of the short and the long block as it was, are zero in the key, and in the old key are those
  /// of the key. Compare the message's signature first: where no structure stands, the exception being handled is
  /// raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, Hevra::StackNode& node) const;
  virtual std::string signature() const;
};

}  // namespace Quarnix::Bus::Type
