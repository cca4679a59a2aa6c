// The bus form of a block of a fixed length, such as a node's key.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// Marshals a block of N elements that W<T> marshals one by one; there are those of bytes.
template <class T, template <class> class W, std::size_t N>
class FixedSequenceContainerWrapper;

/// A block of N bytes as an array, "ay". The block is an array of the language or of the standard library.
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
  /// Fills the block from its first byte: surplus elements are skipped, and where they are too few, the rest of the
  /// block stays as it was. The iterator stays on the array. Compare the message's signature first: where no array
  /// stands, the exception being handled is raised again, and without one the process ends.
  virtual void deserialize(Message::ConstIterator& iterator, unsigned char (&block)[N]) const { fill(iterator, block); }
  void deserialize(Message::ConstIterator& iterator, std::array<unsigned char, N>& block) const {
    fill(iterator, block.data());
  }
  std::string signature() const override { return "a" + Wrapper<unsigned char>::signature(); }

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
