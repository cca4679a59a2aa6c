// The simulated stack service. On the bus it takes the place of the process that owns the radio, for tests,
// demonstrations and application developers; it reaches no hardware.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/Connection.h>
#include <platform/core/Mutex.h>
#include <stack/CommandManager.h>
#include <stack/DaughterBoard.h>
#include <stack/NodeManager.h>
#include <stack/Options.h>
#include <stack/TimelineRunner.h>

namespace Quarnix::Hevra::Stack {

/// Use it on the in-process bus, for an application's own tests, or on any other bus. It follows the process's clock,
/// so that its commands take no real time with a simulated clock.
///
/// The daughter board belongs to the plain variant and exists only together with it.
///
/// Threads: `start`, `stop` and the destructor from one thread, which is no task's; everything else from any.
class Service {
 public:
  /// The largest call that is accepted, in bytes. An "add" may carry 100,000 commands.
  static constexpr std::size_t LARGEST_CALL = std::size_t{64} << 20;

  /// Give the service a connection of its own, because a bus identifies clients by their connections and because the
  /// service sets its largest message. Raises std::invalid_argument for a rate outside 0 to 1, a negative pace, no
  /// variant or one given twice, a time scale out of its range, a rule or a happening that `check` refuses, and nodes
  /// that NodeTable refuses.
  Service(const Options& options, Shared::Pointer<Bus::Connection> connection);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  ~Service();

  /// Serves the objects, takes the names and begins the timeline. Raises Bus::StartFailed, with nothing left started,
  /// when the bus cannot be reached or refuses, or when a name has another owner.
  void start();
  /// Releases the names, ends the objects and drops the commands in flight; their originators get no more reports.
  void stop();

  /// Acts as if the service's process ended and started again: the names disappear and come back after `away`, and the
  /// commands in flight are dropped; nodes and links stay. Does nothing while the service is not started or is away
  /// already. Any thread.
  void restart(const Time::Elapsed& away);
  /// Replaces the plan. Raises what `check` raises.
  void setPlan(const Plan& plan);
  /// Replaces the timeline by this one, which begins now; the service must have been started. Raises what `check`
  /// raises, and changes nothing then. Any thread.
  void setTimeline(const Timeline& timeline);

  /// Sends the signal "exception" with this text on the command manager's interface of each variant. Raises
  /// Bus::InvalidArgument when the text is not UTF-8 or has a NUL.
  void announceException(const std::string& text) { commands_.announceException(text); }
  /// Returns the nodes and links. Changes that you make are announced like all others.
  NodeTable& getNodes() noexcept { return nodes_; }
  /// Returns the number of commands in flight, including delayed ones.
  std::size_t getCommandCount() const { return commands_.getCommandCount(); }
  /// Sets what a reset of the daughter board answers from now on; at first it answers true.
  void setResetAnswer(bool answer) noexcept { board_.setResetAnswer(answer); }
  /// Returns the number of resets, without those that a fault refused.
  std::size_t getResetCount() const noexcept { return board_.getResetCount(); }

 private:
  std::vector<Variant> releaseNames();
  void takeNames(const std::vector<Variant>& names);

  const Options options_;
  const Shared::Pointer<Bus::Connection> connection_;
  Faults faults_;
  NodeTable nodes_;
  std::vector<std::unique_ptr<NodeManager>> nodeManagers_;  // one a variant; constant after construction
  CommandManager commands_;
  DaughterBoard board_;
  Mutex mutex_;
  std::vector<Variant> owned_ HEVRA_GUARDED_BY(mutex_);  // the variants whose names the service owns
  TimelineRunner timeline_{*this};
};

}  // namespace Quarnix::Hevra::Stack
