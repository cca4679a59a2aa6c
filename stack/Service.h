// The simulated stack service: what stands on the bus in place of the process that owns the radio. For tests,
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

namespace Quarnix::Hevra::Stack {

/// Embed it on the in-process bus, for an application's own tests, or on any other. It follows the process's clock, so
/// that with a simulated one its commands take no real time.
///
/// The daughter board belongs to the plain variant and is there when that is.
///
/// Threads: `start`, `stop` and the destructor from one thread, which is no task's; everything else from any.
class Service {
 public:
  /// The largest call that is taken, in bytes: an "add" may carry 100,000 commands.
  static constexpr std::size_t LARGEST_CALL = std::size_t{64} << 20;

  /// Give the service a connection of its own, whose largest message it sets: a bus tells clients by their connections.
  /// Raises std::invalid_argument
  /// for a rate outside 0 to 1, a pace below zero, no variant or one named twice, a rule that `check` refuses, and
  /// nodes that NodeTable does not take.
  Service(const Options& options, Shared::Pointer<Bus::Connection> connection);
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;
  ~Service();

  /// Serves the objects and then owns the names. When that fails nothing of it is left, and the error is
  /// Bus::StartFailed (the bus is not there or does not allow it, or a name is taken).
  void start();
  /// Gives the names back, ends the objects and drops the commands in flight, whose originators hear nothing more. A
  /// report that waits for its answer is waited for, CommandRunner::REPLY_TIMEOUT at the most.
  void stop();

  /// As if the service's process ended and began anew: the names go and come back after `away`, the commands in flight
  /// are dropped; nodes and links stay. Nothing happens while the service is not started, or away already. Any thread.
  void restart(const Time::Elapsed& away);
  /// Puts another plan in force. Raises what `check` raises.
  void setPlan(const Plan& plan) { faults_.setPlan(plan); }

  /// Sends the signal "exception" with this text on the command manager's interface of each variant. Raises
  /// Bus::InvalidArgument for what is no UTF-8 without NUL.
  void announceException(const std::string& text) { commands_.announceException(text); }
  /// The nodes and links. What is changed here is announced like any other change.
  NodeTable& getNodes() noexcept { return nodes_; }
  /// How many commands are in flight, delayed ones included.
  std::size_t getCommandCount() const { return commands_.getCommandCount(); }
  /// What a reset of the daughter board answers from now on; true at first.
  void setResetAnswer(bool answer) noexcept { board_.setResetAnswer(answer); }
  /// How many resets were asked for, refused ones not counted.
  std::size_t getResetCount() const noexcept { return board_.getResetCount(); }

 private:
  std::vector<Variant> giveNamesBack();
  void takeNames(const std::vector<Variant>& names);

  const Options options_;
  const Shared::Pointer<Bus::Connection> connection_;
  Faults faults_;
  NodeTable nodes_;
  std::vector<std::unique_ptr<NodeManager>> nodeManagers_;  // one a variant; constant after construction
  CommandManager commands_;
  DaughterBoard board_;
  Mutex mutex_;
  std::vector<Variant> owned_ HEVRA_GUARDED_BY(mutex_);  // whose names are ours
};

}  // namespace Quarnix::Hevra::Stack
