// The base of the errors that carry a category of the radio protocol.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include <platform/core/Exception.h>

namespace Quarnix::Hevra {

/// An error with a category byte. A derived class gives the error its name (`getId`).
class HEVRA_EXPORT ApplicationException : public Quarnix::Exception {
 public:
  explicit ApplicationException(std::uint8_t category, std::string message = {})
      : Exception(std::move(message)), category_(category) {}
  ~ApplicationException() override;

  std::uint8_t getCategory() const noexcept { return category_; }

 private:
  std::uint8_t category_;
};

}  // namespace Quarnix::Hevra
