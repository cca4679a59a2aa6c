// A priority by which commands are cancelled.
#pragma once

#include <cstdint>

namespace Quarnix::HomeAutomation::Command {

/// A number that the stack service interprets. Every value is allowed.
class Priority {
 public:
  constexpr explicit Priority(std::uint32_t value) noexcept : value_(value) {}
  constexpr std::uint32_t getValue() const noexcept { return value_; }

 private:
  std::uint32_t value_;
};

}  // namespace Quarnix::HomeAutomation::Command
