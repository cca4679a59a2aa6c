// libFuzzer's own mutation, for the fuzzers with a mutator of their own.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

/// Changes the input in place and returns its new size, at most `room`. libFuzzer defines it.
extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t room);

namespace Quarnix::Fuzz {

/// The room that a mutator uses: no input grows beyond `largest` bytes, because longer ones cost time and find no more.
inline std::size_t limitRoom(std::size_t size, std::size_t room, std::size_t largest) {
  return std::min(room, std::max(size, largest));
}

}  // namespace Quarnix::Fuzz
