// Writes and reads blocks of a fixed length, such as the key of a node.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// Marshals a block of N elements of T, which W<T> marshals one by one. There is a specialisation for bytes.
template <class T, template <class> class W, std::size_t N>
class FixedSequenceContainerWrapper;

/// A block of N bytes as an array, "ay". The block is a C array or a std::array.
template <std::size_t N>
class FixedSequenceContainerWrapper<unsigned char, Wrapper, N> : public Wrapper<unsigned char> {
 public:
  using Wrapper<unsigned char>::serialize;
  using Wrapper<unsigned char>::deserialize;

  virtual void serialize(Message::Iterator& iterator, const unsigned char (&block)[N]) const {
    iterator.appendBytes(block, N);
  }
  void serialize(Message::Iterator& iterator, const std::array<unsigned char, N>& block) const {
    iterator.appendBytes(block.data(), N);
  }
  /// Fills the block from its first byte. It skips surplus bytes; if there are too few, the rest of the block stays as
  /// it is. The iterator stays on the array. Precondition: the signature matches (see Wrapper).
  virtual void deserialize(Message::ConstIterator& iterator, unsigned char (&block)[N]) const { fill(iterator, block); }
  void deserialize(Message::ConstIterator& iterator, std::array<unsigned char, N>& block) const {
    fill(iterator, block.data());
  }
  std::string signature() const override { return std::string(Message::BYTES); }

 private:
  static void fill(const Message::ConstIterator& iterator, unsigned char* block) {
    if (iterator.type() != Message::ARRAY) throw;
    const auto bytes = iterator.getBytes();
    if (bytes.size() >= N) [[likely]] {
      std::memcpy(block, bytes.data(), N);
    } else {
      std::copy(bytes.begin(), bytes.end(), block);
    }
  }
};

}  // namespace Quarnix::Bus::Type
