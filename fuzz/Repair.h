// Makes valid messages of bytes that are nearly one, so that changed bytes get past the first checks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace Quarnix::Fuzz {

using Random = std::minstd_rand;

/// One complete type, rarely a large one.
std::string randomType(Random& random, int depth = 0);

/// Changes a buffer in place, as little as it takes, until it is what its signature says. Knows the wire format by
/// itself: of the library it uses the checks of names and signatures only.
class Repair {
 public:
  /// Of the `room` bytes of the buffer, `size` are filled; the rest is overwritten with zeros.
  Repair(std::uint8_t* bytes, std::size_t size, std::size_t room, Random& random);

  /// A whole message. How many bytes it has now; 0 when it does not fit.
  std::size_t message();
  /// The values of a body. How many bytes they have now; 0 when they do not fit.
  std::size_t body(std::string_view types, bool isBig);

 private:
  struct Full {};

  std::size_t fields();
  void field(std::size_t begin, unsigned& present);
  void values(std::string_view types, int levels);
  const char* value(const char* type, int levels);
  void array(const char* element, int levels);
  void variant(int levels);
  void text(bool isPath);
  void align(std::size_t alignment);
  void take(std::size_t count);
  std::uint32_t word(std::size_t at) const;
  void setWord(std::size_t at, std::uint32_t value);
  std::size_t clamp(std::size_t length) const {
    return at_ + length < size_ ? length : at_ < size_ ? size_ - at_ - 1 : 0;
  }

  std::uint8_t* bytes_;
  std::size_t size_, room_;
  Random& random_;
  std::size_t at_ = 0;
  bool isBig_ = false;
  std::string types_;  // of the body
};

}  // namespace Quarnix::Fuzz
