// The typed wrapper of a vector of bytes.
#pragma once

#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Type {

/// An array of bytes, "ay". Reading replaces what the vector held and raises TypeMismatch where none stands.
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
  virtual std::string signature() const { return "a" + Wrapper<unsigned char>().signature(); }
};

}  // namespace Quarnix::Bus::Type
