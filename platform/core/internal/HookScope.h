// Tells whether the calling thread runs hooks.
#pragma once

namespace Quarnix {

/// While a thread has one, it runs hooks of tasks and timers. Such a thread does not wait until another hook has ended:
/// two hooks that stop each other would wait for ever.
class HookScope {
 public:
  HookScope() noexcept;
  ~HookScope();
  HookScope(const HookScope&) = delete;
  HookScope& operator=(const HookScope&) = delete;

  /// Whether the calling thread has one.
  static bool isHere() noexcept;
};

}  // namespace Quarnix
