// One detail of a command's error, in the words of an application.
#pragma once

#include <string>

#include <platform/core/Export.h>

namespace Quarnix::Hevra {

/// Derive from it to give a DetailedError details of your own.
class HEVRA_EXPORT ErrorField {
 public:
  virtual ~ErrorField();
  virtual std::string toString() const = 0;

 protected:
  ErrorField() = default;
  ErrorField(const ErrorField&) = default;
  ErrorField& operator=(const ErrorField&) = default;
};

}  // namespace Quarnix::Hevra
