// The bus form of a block of a fixed length, such as a node's key.
#pragma once

#include <cstddef>
#include <string>

#include <bus/NodeRecord.h>
#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// Marshals a block of N elements that W<T> marshals one by one; there are those of bytes.
template <class T, template <class> class W, std::size_t N>
class FixedSequenceContainerWrapper;

/// A block of N bytes as an array, "ay".
template <std::size_t N>
class FixedSequenceContainerWrapper<unsigned char, Wrapper, N> : public Wrapper<unsigned char> {
 public:
  using Wrapper<unsigned char>::serialize;
  using Wrapper<unsigned char>::deserialize;

  virtual void serialize(Message::Iterator& iterator, const unsigned char (&block)[N]) const {
    iterator.appendBytes(block, N);
  }
  /// Fills the block from its first byte: surplus elements are skipped, and where they are too few, the rest of the
  /// block stays as it was. The iterator stays on the array. Compare the message's signature first: where no array
  /// stands, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, unsigned char (&block)[N]) const {
    NodeRecord::readBlock<N>(iterator, block);
  }
  std::string signature() const override { return "a" + Wrapper<unsigned char>::signature(); }
};

}  // namespace Quarnix::Bus::Type
