// Keeps descriptors away from the standard ones.
#include <platform/core/internal/Descriptor.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Quarnix {

int aboveStandard(int descriptor) noexcept {
  if (descriptor < 0 || descriptor > STDERR_FILENO) return descriptor;
  const int moved = ::fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const int error = errno;
  ::close(descriptor);
  errno = error;
  return moved;
}

}  // namespace Quarnix
