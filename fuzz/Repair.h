// Repairs mutated messages, so that they pass the first checks and reach the code behind them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace Quarnix::Fuzz {

using Random = std::minstd_rand;

/// A random single complete type, rarely a large one.
std::string randomType(Random& random, int depth = 0);

/// Changes as little of a buffer as necessary to make it valid. Implements the wire format itself; of the library, it
/// uses only the checks of names and signatures.
class Repair {
 public:
  /// Of the `room` bytes of the buffer, `size` are filled; the rest is overwritten with zeros.
  Repair(std::uint8_t* bytes, std::size_t size, std::size_t room, Random& random);

  /// Repairs a whole message. Returns its new size, or 0 if it does not fit.
  std::size_t message();
  /// Repairs the values of a body. Returns their new size, or 0 if they do not fit.
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
