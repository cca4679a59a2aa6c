// Calls hooks of an application from threads of the library, and ends their exceptions.
#pragma once

#include <exception>
#include <utility>

#include <platform/core/log/Logger.h>

namespace Quarnix {

/// Runs `hook`. Logs an exception that leaves it as that of a `what`, and returns false then.
template <class Hook>
bool runAtBoundary(const char* what, Hook&& hook) noexcept {
  try {
    std::forward<Hook>(hook)();
    return true;
  } catch (const std::exception& error) {
    Log::printQuietly(Log::Priority::WARNING, "libCore> an exception left a %s: %s", what, error.what());
  } catch (...) {
    Log::printQuietly(Log::Priority::WARNING, "libCore> an exception of an unknown type left a %s", what);
  }
  return false;
}

}  // namespace Quarnix
