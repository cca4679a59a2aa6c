// Recordings without the keys of the radio.
#pragma once

#include <stack/forms/Recording.h>

namespace Quarnix::Hevra::Tools {

/// Puts zeros in place of the keys of stack nodes, wherever the message has such a node, and of the key that a
/// "changekey" carries.
void maskKeys(Stack::Forms::RecordedMessage& message);

}  // namespace Quarnix::Hevra::Tools
