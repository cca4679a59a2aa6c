// Reads the environment as far as it may be trusted.
#include <platform/core/internal/Environment.h>

#include <cstdlib>

namespace Quarnix {

const char* environmentValue(const char* name) noexcept {
  const char* const value = ::secure_getenv(name);
  return value && *value ? value : nullptr;
}

}  // namespace Quarnix
