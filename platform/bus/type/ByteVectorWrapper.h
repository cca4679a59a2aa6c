// The wrapper of a vector of bytes.
#pragma once

#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// A vector of bytes as an array, "ay". Reading replaces what the vector holds; it raises TypeMismatch for another
/// value.
template <>
class Wrapper<std::vector<unsigned char>> {
 public:
  virtual ~Wrapper() = default;
  virtual void serialize(Message::Iterator& iterator, const std::vector<unsigned char>& bytes) const {
    iterator.appendBytes(bytes.data(), bytes.size());
  }
  virtual void deserialize(Message::ConstIterator& iterator, std::vector<unsigned char>& bytes) const {
    const auto content = iterator.getBytes();
    bytes.assign(content.begin(), content.end());
  }
  virtual std::string signature() const { return std::string(Message::BYTES); }
};

}  // namespace Quarnix::Bus::Type
