// The base of the typed values that a command carries. The concrete classes are in HvTypes.h.
#pragma once

#include <string>

#include <platform/core/Export.h>

namespace Quarnix::Hevra {

/// One parameter value of the radio protocol. Values do not change once they are made and are held by Shared::Pointer,
/// so that any number of commands and threads may hold the same one.
class HEVRA_EXPORT HvType {
 public:
  virtual ~HvType();

  /// The value for people to read: a decimal number, the string itself, lower-case hexadecimal digits for a blob,
  /// "true" or "false", "null".
  virtual std::string toString() const = 0;

 protected:
  HvType() = default;
  HvType(const HvType&) = default;
  HvType& operator=(const HvType&) = default;
};

}  // namespace Quarnix::Hevra
