// Which numbers the library's own descriptors have. Internal.
#pragma once

namespace Quarnix {

/// Takes a new descriptor, or -1, and returns it as one above 2, close-on-exec. A process that was started without
/// standard input, output or error has these numbers free, and what others print must not go into a socket. -1, with
/// `errno` set, when there was none or none is left above 2; the one given is closed then.
int aboveStandard(int descriptor) noexcept;

}  // namespace Quarnix
