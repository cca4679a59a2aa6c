// How deep a value stands in other containers, so that the limits hold through variants. Internal to libBus.
#pragma once

#include <string_view>

namespace Quarnix::Bus::Message {

/// The containers around a value. Dictionary entries and variants have no limit of their own, but count as levels.
struct Depth {
  int arrays = 0;
  int structures = 0;
  int levels = 0;  // containers of every kind
};

/// Null when `signature` is exactly one complete type that may stand in `outer`, otherwise the rule that it breaks.
const char* checkSingleType(std::string_view signature, const Depth& outer) noexcept;

}  // namespace Quarnix::Bus::Message
