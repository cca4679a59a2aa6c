// The names of command statuses, for texts. Internal.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>

#include <platform/hevra/HvDetailedCommandStatus.h>

namespace Quarnix::Hevra {

/// Returns the status's name, such as "COMPLETED", or its number where it has no name.
inline std::string nameOf(HvDetailedCommandStatus status) {
  static constexpr const char* NAMES[] = {"INITIALIZED", "TRANSMITTED", "IN_PROGRESS", "COMPLETED", "FAILED",
                                          "CANCELLED",   "DELAYED",     "TIMED_OUT",   "REJECTED"};
  const auto number = static_cast<std::uint32_t>(status);
  return number < std::size(NAMES) ? NAMES[number] : std::to_string(number);
}

}  // namespace Quarnix::Hevra
