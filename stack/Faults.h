// The plan in force, and the means to carry it out.
#pragma once

#include <atomic>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/hevra/Command.h>
#include <stack/Agenda.h>
#include <stack/Plan.h>

namespace Quarnix::Hevra::Stack {

/// Counts what its rules fit and says what happens to it.
///
/// Threads: any; entries of the agenda run on its task, `restart` where it is called.
class Faults {
 public:
  /// `restart` takes the time that the service's names are away. Raises what `check` raises.
  Faults(const Plan& plan, std::function<void(const Time::Elapsed& away)> restart);

  /// Puts another plan in force, all of whose rules have seen nothing yet. Raises what `check` raises.
  void setPlan(const Plan& plan);
  /// What happens to this call or report; the group and the commands that it is about, if any.
  Effect next(std::string_view on, const std::string& group, std::span<const Command> commands);

  void restart(const Time::Elapsed& away) const { restart_(away); }
  Agenda& agenda() noexcept { return agenda_; }

 private:
  struct Counted {
    Rule rule;
    std::uint32_t met = 0;
  };

  const std::function<void(const Time::Elapsed&)> restart_;
  Mutex mutex_;
  std::vector<Counted> rules_ HEVRA_GUARDED_BY(mutex_);
  std::atomic<bool> any_{false};  // whether there are rules: calls that meet none need not take the mutex
  Agenda agenda_;
};

}  // namespace Quarnix::Hevra::Stack
