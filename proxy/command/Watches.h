// The commands whose ends observers have not heard yet.
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

/// The commands of one `submit` share this.
struct Submission {
  const Shared::Pointer<OutcomeObserver> observer;
  const Group group;
  /// The generation of the service that has the commands; 0 before. The manager's mutex guards it.
  std::uint64_t generation = 0;
};

/// A list of watches. A watch is a command that was handed over once, with its submission. An entry of the command
/// manager holds a watch for each hand-over of its key. A watch is taken out of its entry before its observer hears the
/// outcome, so that it hears it once.
///
/// Threads: as any value. The manager's mutex guards the watches in entries. Release the mutex before you drop a watch,
/// which may destroy an observer, and before you `tell` one.
class Watches {
 public:
  Watches() = default;
  Watches(std::shared_ptr<Submission> submission, std::uint32_t commandId) {
    list_.push_front({std::move(submission), commandId});
  }

  /// Moves all of `others` here.
  void take(Watches& others) noexcept { list_.splice_after(list_.before_begin(), others.list_); }
  /// Moves those of `others` here whose submissions `isChosen` accepts.
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
