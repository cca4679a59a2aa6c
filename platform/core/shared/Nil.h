// The error of an empty Shared::Pointer.
#pragma once

#include <platform/core/Exception.h>

namespace Quarnix::Shared::Exception {

/// Raised when an empty Shared::Pointer is dereferenced.
class HEVRA_EXPORT Nil : public Quarnix::Exception {
 public:
  Nil();
  ~Nil() override;
  const char* getId() const override;
};

/// Raises Nil. It is not inline, so that dereferencing stays a test and a jump.
[[noreturn]] HEVRA_EXPORT void raiseNil();

}  // namespace Quarnix::Shared::Exception
