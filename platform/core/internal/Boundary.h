// Where hooks of an application are called from threads of the library, and where their exceptions end. Internal.
#pragma once

#include <exception>
#include <utility>

#include <platform/core/log/Logger.h>

namespace Quarnix {

/// Runs `hook`. An exception that leaves it is logged as that of a `what`; false then.
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
