// The names of message types, for texts. Internal.
#pragma once

#include <cstddef>
#include <iterator>

#include <platform/bus/message/Header.h>

namespace Quarnix::Bus::Message {

/// Returns "call", "return", "error" or "signal"; null for any other type.
constexpr const char* nameOf(Type type) noexcept {
  constexpr const char* NAMES[] = {nullptr, "call", "return", "error", "signal"};
  const auto number = static_cast<std::size_t>(type);
  return number < std::size(NAMES) ? NAMES[number] : nullptr;
}

}  // namespace Quarnix::Bus::Message
