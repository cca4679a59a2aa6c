// An object that is made once and lives until the process is gone.
#pragma once

namespace Quarnix {

/// Holds a T in static memory: making it needs none from the heap, so that a noexcept function may be the first to use
/// it. It is never destroyed, because threads of the library run until the process ends.
template <class T>
union NeverDestroyed {
  NeverDestroyed() : object() {}
  ~NeverDestroyed() {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T object;
};

}  // namespace Quarnix
