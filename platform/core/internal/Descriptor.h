// Gives the library's own descriptors numbers above the standard ones.
#pragma once

namespace Quarnix {

/// Takes a new descriptor, or -1, and returns one above 2 for the same file, close-on-exec. A process that was started
/// without standard input, output or error has these numbers free, and what other code prints must not go into a
/// socket. Returns -1, with `errno` set, when it gets -1, and when no number above 2 is left; the descriptor is closed
/// then.
int aboveStandard(int descriptor) noexcept;

}  // namespace Quarnix
