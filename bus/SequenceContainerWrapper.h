// Writes and reads sequences of any length. FixedSequenceContainerWrapper does so for blocks of a fixed length.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <platform/bus/type/ByteVectorWrapper.h>

namespace Quarnix::Bus::Type {

/// Marshals a Container<T, Allocator>, whose elements W<T> marshals. There is a specialisation for vectors of bytes.
template <class T, template <class> class W, template <class, class> class Container, class Allocator>
class SequenceContainerWrapper;

/// A vector of bytes as an array, "ay".
template <>
class SequenceContainerWrapper<unsigned char, Wrapper, std::vector, std::allocator<unsigned char>>
    : public Wrapper<std::vector<unsigned char>> {
 public:
  /// Appends the bytes of the array to the vector. The iterator stays on the array.
  /// Precondition: the signature matches (see Wrapper).
  void deserialize(Message::ConstIterator& iterator, std::vector<unsigned char>& bytes) const override {
    if (iterator.type() != Message::ARRAY) throw;
    const auto content = iterator.getBytes();
    bytes.insert(bytes.end(), content.begin(), content.end());
  }
};

}  // namespace Quarnix::Bus::Type
