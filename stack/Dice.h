// The draws that decide about faults. Not for anything that must be unpredictable.
#pragma once

#include <cstdint>
#include <random>

namespace Quarnix::Hevra::Stack {

/// A sequence of draws that depends on its seed only, on every machine the same. One thread at a time.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}

  /// True with the probability `rate`; makes one draw whatever the rate is.
  bool roll(double rate) { return static_cast<double>(engine_() >> 11) * 0x1p-53 < rate; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace Quarnix::Hevra::Stack
