// Counts the scopes of each thread.
#include <platform/core/internal/HookScope.h>

namespace Quarnix {

namespace {

thread_local unsigned scopes = 0;

}  // namespace

HookScope::HookScope() noexcept { ++scopes; }
HookScope::~HookScope() { --scopes; }
bool HookScope::isHere() noexcept { return scopes > 0; }

}  // namespace Quarnix
