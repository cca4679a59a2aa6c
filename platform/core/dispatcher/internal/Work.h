// Something that a loop is to run once.
#pragma once

#include <platform/core/dispatcher/internal/Link.h>
#include <platform/core/dispatcher/internal/Loop.h>

namespace Quarnix {

/// Derive from it, and post it with Loop::post. It keeps no reference to the loop.
///
/// Threads: the loop's mutex guards the link.
/// Destroying: withdraw it first.
class Loop::Work : private Link {
 public:
  Work() = default;
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

 protected:
  ~Work() = default;
  /// Runs within `dispatch`, with no mutex held, and posted no more. It may post itself again, and may destroy itself.
  virtual void run() noexcept = 0;

 private:
  friend class Loop;
};

}  // namespace Quarnix
