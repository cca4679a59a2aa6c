// The base of every error that this library raises.
#pragma once

#include <exception>
#include <string>

#include <platform/core/Export.h>

namespace Quarnix {

/// An error with a fixed dotted name and an optional message.
/// `what()` is the message when there is one and the error name otherwise.
class HEVRA_EXPORT Exception : public std::exception {
 public:
  explicit Exception(std::string message = {});
  Exception(const Exception&);
  Exception& operator=(const Exception&);
  ~Exception() override;

  const char* what() const noexcept override;
  /// The error name, such as "com.quarnix.Framework.Core.Shared.Nil"; lives as long as the process.
  virtual const char* getId() const = 0;

 private:
  std::string message_;
};

}  // namespace Quarnix
