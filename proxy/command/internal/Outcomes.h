// Tells outcomes, and holds those whose texts are always the same. Internal.
#pragma once

#include <proxy/command/Watches.h>

namespace Quarnix::Hevra::Proxy::Command {

/// They are made before the first command waits and never destroyed, so that telling one needs no memory.
struct Outcomes {
  const Outcome timedOut{Outcome::Kind::TIMED_OUT, {}, "no report has come in time"};
  const Outcome serviceLost{Outcome::Kind::SERVICE_LOST, {}, "the service has gone"};
  const Outcome abandoned{Outcome::Kind::ABANDONED, {}, "the command manager was destroyed"};

  static const Outcomes& get() {
    static const Outcomes& made = *new Outcomes;
    return made;
  }
};

/// Tells the observer of each command its outcome. An exception that leaves an observer is logged.
void tell(const Watches& watches, const Outcome& outcome) noexcept;

}  // namespace Quarnix::Hevra::Proxy::Command
