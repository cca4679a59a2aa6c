// Applies the present plan to calls and reports.
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

/// Counts the calls and reports that match each rule and decides what happens to them.
///
/// Threads: any. The agenda's entries run on the agenda's task; `restart` runs on the thread that calls it.
class Faults {
 public:
  /// `restart` is called with the time for which the service's names disappear. Raises what `check` raises.
  Faults(const Plan& plan, std::function<void(const Time::Elapsed& away)> restart);

  /// Replaces the plan; the rules of the new one start to count from zero. Raises what `check` raises.
  void setPlan(const Plan& plan);
  /// Decides what happens to this call or report. `group` and `commands` are empty when it concerns none.
  Effect next(std::string_view on, const std::string& group, std::span<const Command> commands);

  void restart(const Time::Elapsed& away) const { restart_(away); }
  Agenda& agenda() noexcept { return agenda_; }

 private:
  struct Counted {
    Rule rule;
    std::uint32_t matches = 0;
  };

  const std::function<void(const Time::Elapsed&)> restart_;
  Mutex mutex_;
  std::vector<Counted> rules_ HEVRA_GUARDED_BY(mutex_);
  std::atomic<bool> hasRules_{false};  // lets calls skip the mutex when there is no rule
  Agenda agenda_;
};

}  // namespace Quarnix::Hevra::Stack
