// The commands whose ends observers are still to be told.
#pragma once

#include <cstdint>
#include <forward_list>
#include <iterator>
#include <memory>
#include <utility>

#include <platform/core/shared/Pointer.h>
#include <platform/hevra/Group.h>
#include <proxy/command/Outcome.h>

namespace Quarnix::Hevra::Proxy::Command {

/// What the commands of one `submit` have in common.
struct Submission {
  const Shared::Pointer<OutcomeObserver> observer;
  const Group group;
  /// Of the service that has taken the commands; 0 until then. The manager's mutex guards it.
  std::uint64_t generation = 0;
};

/// A list of commands, each with its submission. An entry of the command manager holds the watches of the hand-overs
/// that it stands for. To tell an outcome, a watch is taken out of its entry first: so each is told once.
///
/// Threads: as any value; those in an entry are guarded by the manager's mutex. Dropping a watch may destroy an
/// observer, and telling runs one: neither is done while a mutex is held.
class Watches {
 public:
  Watches() = default;
  Watches(std::shared_ptr<Submission> submission, std::uint32_t commandId) {
    list_.push_front({std::move(submission), commandId});
  }

  /// Moves all of `others` here.
  void take(Watches& others) noexcept { list_.splice_after(list_.before_begin(), others.list_); }
  /// Moves those of `others` here whose submission is chosen.
  template <class Chosen>
  void take(Watches& others, const Chosen& isChosen) {
    for (auto before = others.list_.before_begin(); std::next(before) != others.list_.end();) {
      if (isChosen(*std::next(before)->submission))
        list_.splice_after(list_.before_begin(), others.list_, before);
      else
        ++before;
    }
  }

  /// Calls `visit(submission, command identifier)` for each command.
  template <class Visit>
  void forEach(const Visit& visit) const {
    for (const Watch& watch : list_) visit(*watch.submission, watch.commandId);
  }

 private:
  struct Watch {
    std::shared_ptr<Submission> submission;
    std::uint32_t commandId;
  };
  std::forward_list<Watch> list_;
};

}  // namespace Quarnix::Hevra::Proxy::Command
