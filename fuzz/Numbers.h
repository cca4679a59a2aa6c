// Maps the type codes of numbers to C++ types.
#pragma once

#include <cstdint>

namespace Quarnix::Fuzz {

/// Calls `visit` with a zero of the C++ type of a number's or boolean's type code. Returns false for other type codes,
/// without a call.
template <class Visit>
bool visitNumber(int type, const Visit& visit) {
  switch (type) {
    case 'y':
      visit(std::uint8_t{});
      return true;
    case 'b':
      visit(bool{});
      return true;
    case 'n':
      visit(std::int16_t{});
      return true;
    case 'q':
      visit(std::uint16_t{});
      return true;
    case 'i':
      visit(std::int32_t{});
      return true;
    case 'u':
      visit(std::uint32_t{});
      return true;
    case 'x':
      visit(std::int64_t{});
      return true;
    case 't':
      visit(std::uint64_t{});
      return true;
    case 'd':
      visit(double{});
      return true;
    default:
      return false;
  }
}

}  // namespace Quarnix::Fuzz
