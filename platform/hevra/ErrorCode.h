// The type and number of a command's error.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// What went wrong, as the stack service numbers it; 0/0 when nothing did. The library carries both figures unchanged.
class ErrorCode {
 public:
  constexpr ErrorCode() noexcept = default;
  constexpr ErrorCode(std::uint8_t type, int id) noexcept : id_(id), type_(type) {}

  constexpr std::uint8_t getErrorType() const noexcept { return type_; }
  constexpr int getErrorId() const noexcept { return id_; }

 private:
  int id_ = 0;
  std::uint8_t type_ = 0;
};

}  // namespace Quarnix::Hevra
