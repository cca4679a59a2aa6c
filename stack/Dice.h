// Random numbers that decide about faults. They are predictable, so do not use them for anything secret.
#pragma once

#include <cstdint>
#include <random>

namespace Quarnix::Hevra::Stack {

/// A sequence of draws that depends only on the seed and is the same on every machine. One thread at a time.
class Dice {
 public:
  explicit Dice(std::uint64_t seed) : engine_(seed) {}

  /// Returns true with the probability `rate`. It makes one draw, whatever the rate is.
  bool roll(double rate) { return static_cast<double>(engine_() >> 11) * 0x1p-53 < rate; }

 private:
  std::mt19937_64 engine_;
};

}  // namespace Quarnix::Hevra::Stack
