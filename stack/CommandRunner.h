// Carries out the commands of one originator. There is no radio: a command only takes its time and reports.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <platform/bus/Connection.h>
#include <platform/core/Mutex.h>
#include <platform/core/Task.h>
#include <stack/Faults.h>
#include <stack/Job.h>
#include <stack/NodeTable.h>
#include <stack/Wake.h>

namespace Quarnix::Hevra::Stack {

/// Reports the statuses of each command by calling "progress" of the originator: DELAYED first and then a wait of its
/// delay when it has one; then TRANSMITTED, IN_PROGRESS and COMPLETED (or FAILED), a pace apart.
///
/// One report at a time: the next waits for the answer to the last, REPLY_TIMEOUT at the most, so that an originator is
/// not flooded and one that is slow delays nobody's commands but its own. A report that is not answered, or answered
/// with an error, is logged and not repeated; when the originator's connection is gone, its commands are dropped.
///
/// A command that writes changes its node in the table, see NodeTable::write, just before it reports COMPLETED. Each
/// report may meet a fault.
///
/// Beside the command's own status a report says RUNNING until the end, then DONE for a completed command and FAILED
/// for every other.
///
/// Threads: any; the reports are made on the runner's own task.
class CommandRunner : private Task {
 public:
  static constexpr Time::Elapsed REPLY_TIMEOUT{5, 0};

  /// The originator is the object `path` of the connection whose unique name is `client`. The table and the faults must
  /// outlive the runner.
  CommandRunner(Shared::Pointer<Bus::Connection> connection, std::string client, std::string path,
                const Time::Elapsed& pace, NodeTable& nodes, Faults& faults);
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;
  /// Waits for the answer to a report under way.
  ~CommandRunner() override;

  void submit(std::vector<Job> jobs);
  /// Those of the commands in flight that are `chosen` report CANCELLED next, which is their end. `chosen` is called
  /// with the runner locked and must look at nothing but the job's variant and what the command came with.
  void cancel(const std::function<bool(const Job&)>& chosen);
  /// Drops all commands; no report of theirs begins after it.
  void drop();
  std::size_t getCommandCount() const;

 private:
  using Jobs = std::multimap<Time::Monotonic, Job>;  // by the time of their next report

  void entry() override;
  static void step(Job& job);
  static void fail(Job& job, const ErrorCode& code, const std::string& text);
  Time::Elapsed waitAfter(const Job& job) const;
  bool report(const Job& job, Effect::Kind effect) const;

  // Constant after construction.
  const Shared::Pointer<Bus::Connection> connection_;
  const std::string client_;
  const std::string path_;
  const Time::Elapsed pace_;
  NodeTable& nodes_;
  Faults& faults_;

  mutable Mutex mutex_;
  Jobs waiting_ HEVRA_GUARDED_BY(mutex_);
  Jobs::node_type inHand_ HEVRA_GUARDED_BY(mutex_);  // the one that is reported at the moment
  Wake wake_;
};

}  // namespace Quarnix::Hevra::Stack
