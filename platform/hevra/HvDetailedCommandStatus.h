// How far a command has come.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// The status inside a command record. It travels as one byte. Values without a name are kept.
enum class HvDetailedCommandStatus : std::uint32_t {
  INITIALIZED = 0,
  TRANSMITTED = 1,
  IN_PROGRESS = 2,
  COMPLETED = 3,
  FAILED = 4,
  CANCELLED = 5,
  DELAYED = 6,
  TIMED_OUT = 7,
  REJECTED = 8
};

}  // namespace Quarnix::Hevra
