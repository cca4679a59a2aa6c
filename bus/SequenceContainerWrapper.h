// The bus form of a sequence of any length. Blocks of a fixed length are FixedSequenceContainerWrapper's.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <platform/bus/type/ByteVectorWrapper.h>

namespace Quarnix::Bus::Type {

/// Marshals a Container<T, Allocator> whose elements W<T> marshals; there is the one of bytes.
template <class T, template <class> class W, template <class, class> class Container, class Allocator>
class SequenceContainerWrapper;

/// A vector of bytes as an array, "ay".
template <>
class SequenceContainerWrapper<unsigned char, Wrapper, std::vector, std::allocator<unsigned char>>
    : public Wrapper<std::vector<unsigned char>> {
 public:
  /// Adds the bytes of the array behind those that the vector holds; the iterator stays on the array. Compare the
  /// message's signature first: where no array stands, the exception being handled is raised again, and without one the
  /// process ends.
  void deserialize(Message::ConstIterator& iterator, std::vector<unsigned char>& bytes) const override {
    if (iterator.type() != Message::ARRAY) throw;
    const auto content = iterator.getBytes();
    bytes.insert(bytes.end(), content.begin(), content.end());
  }
};

}  // namespace Quarnix::Bus::Type
