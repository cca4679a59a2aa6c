// Raises the error of an empty Shared::Pointer.
#include <platform/core/shared/Nil.h>

namespace Quarnix::Shared::Exception {

Nil::Nil() = default;
Nil::~Nil() = default;

const char* Nil::getId() const { return "com.quarnix.Framework.Core.Shared.Nil"; }

void raiseNil() { throw Nil(); }

}  // namespace Quarnix::Shared::Exception
