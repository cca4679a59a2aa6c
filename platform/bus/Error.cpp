// The names of libBus's errors.
#include <platform/bus/Error.h>

namespace Quarnix::Bus {

Error::~Error() = default;
InvalidArgument::~InvalidArgument() = default;
TypeMismatch::~TypeMismatch() = default;
NotAContainer::~NotAContainer() = default;
EndOfContainer::~EndOfContainer() = default;
UnusableMessage::~UnusableMessage() = default;
StartFailed::~StartFailed() = default;

const char* InvalidArgument::getId() const { return "com.quarnix.Framework.Bus.InvalidArgument"; }
const char* TypeMismatch::getId() const { return "com.quarnix.Framework.Bus.TypeMismatch"; }
const char* NotAContainer::getId() const { return "com.quarnix.Framework.Bus.NotAContainer"; }
const char* EndOfContainer::getId() const { return "com.quarnix.Framework.Bus.EndOfContainer"; }
const char* UnusableMessage::getId() const { return "com.quarnix.Framework.Bus.UnusableMessage"; }
const char* StartFailed::getId() const { return "com.quarnix.Framework.Bus.StartFailed"; }

}  // namespace Quarnix::Bus
