// The base of the typed values that a command carries. HvTypes.h has the concrete classes.
#pragma once

#include <string>

#include <platform/core/Export.h>

namespace Quarnix::Hevra {

/// One parameter value of the radio protocol. A value never changes and is held by Shared::Pointer, so that any number
/// of commands and threads may hold the same one.
class HEVRA_EXPORT HvType {
 public:
  virtual ~HvType();

  /// The value as a text for people: a decimal number, the string itself, lower-case hexadecimal digits for a blob,
  /// "true" or "false", "null".
  virtual std::string toString() const = 0;

 protected:
  HvType() = default;
  HvType(const HvType&) = default;
  HvType& operator=(const HvType&) = default;
};

}  // namespace Quarnix::Hevra
