// Carries out the commands of one originator. Without a radio, a command only takes its time and reports.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <optional>
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

/// Reports the statuses of each command by calling "progress" of the originator. A command with a delay reports DELAYED
/// and waits for that long. Then it reports TRANSMITTED, IN_PROGRESS and COMPLETED (or FAILED), with one pace between
/// them.
///
/// The runner makes one report at a time, and the next one when the answer has come or REPLY_TIMEOUT is over. So it
/// does not flood an originator, and a slow originator delays only its own commands. A report without an answer, or
/// with an error for an answer, is logged and not repeated. When the originator's connection has gone, its commands are
/// dropped.
///
/// A command that writes changes its node in the table just before it reports COMPLETED, see NodeTable::write. A fault
/// may affect each report.
///
/// Besides the command's own status, a report says RUNNING until the end, and at the end DONE for a completed command
/// and FAILED for any other.
///
/// Threads: any; the reports are made on the runner's own task.
class CommandRunner : private Task {
 public:
  static constexpr Time::Elapsed REPLY_TIMEOUT{5, 0};

  /// The originator is the object `path` of the connection whose unique name is `client`. `nodes` and `faults` must
  /// outlive the runner.
  CommandRunner(Shared::Pointer<Bus::Connection> connection, std::string client, std::string path,
                const Time::Elapsed& pace, NodeTable& nodes, Faults& faults);
  CommandRunner(const CommandRunner&) = delete;
  CommandRunner& operator=(const CommandRunner&) = delete;
  ~CommandRunner() override;

  void submit(std::vector<Job> jobs);
  /// Makes each command in flight that `chosen` accepts report CANCELLED next, as its last report. `chosen` is called
  /// with the runner locked; it may read only the job's variant, its group and what the command was submitted with.
  void cancel(const std::function<bool(const Job&)>& chosen);
  /// Drops all commands; none of their reports begins afterwards.
  void drop();
  std::size_t getCommandCount() const;

 private:
  using Jobs = std::multimap<Time::Monotonic, Job>;  // by the time of their next report

  class Answers;
  using Answer = Bus::Result<Bus::Message::SendReturn>;

  void entry() override;
  void beginNext() HEVRA_REQUIRES(mutex_);
  void finishReport() HEVRA_REQUIRES(mutex_);
  void goOn(bool isHeard) HEVRA_REQUIRES(mutex_);
  static void step(Job& job);
  static void fail(Job& job, const ErrorCode& code, const std::string& text);
  Time::Elapsed waitAfter(const Job& job) const;
  void report(const Job& job);
  bool isHeard(const Job& job, const Answer& answer) const;
  void answered(const Answer& answer);

  // Constant after construction.
  const Shared::Pointer<Bus::Connection> connection_;
  const std::string client_;
  const std::string path_;
  const Time::Elapsed pace_;
  NodeTable& nodes_;
  Faults& faults_;

  mutable Mutex mutex_;
  Jobs waiting_ HEVRA_GUARDED_BY(mutex_);
  Jobs::node_type inHand_ HEVRA_GUARDED_BY(mutex_);  // the one that is being reported
  std::optional<Answer> answer_ HEVRA_GUARDED_BY(mutex_);
  const std::shared_ptr<Answers> answers_;
  Wake wake_;
  // Used only on the task.
  bool isReporting_ = false;  // the report of the job in hand has left
  bool isTwice_ = false;      // it is to be sent once more
  bool isWrong_ = false;      // with wrong arguments
};

}  // namespace Quarnix::Hevra::Stack
