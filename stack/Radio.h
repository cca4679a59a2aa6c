// All commands that the simulated stack is carrying out, ordered by their originators.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <platform/bus/Connection.h>
#include <platform/core/Mutex.h>
#include <stack/CommandRunner.h>

namespace Quarnix::Hevra::Stack {

/// Has a runner, and with it a task, for each originator that has commands in flight. An idle runner is removed when
/// the next commands are submitted.
///
/// Threads: any.
class Radio {
 public:
  /// `nodes` and `faults` must outlive the radio.
  Radio(Shared::Pointer<Bus::Connection> connection, const Time::Elapsed& pace, NodeTable& nodes, Faults& faults)
      : connection_(std::move(connection)), pace_(pace), nodes_(nodes), faults_(faults) {}

  /// Carries out the jobs for the originator `path` of `client`, see CommandRunner.
  void submit(const std::string& client, const std::string& path, std::vector<Job> jobs);
  /// See CommandRunner::cancel.
  void cancel(const std::function<bool(const Job&)>& chosen);
  /// Drops all commands; the reports under way are their last ones.
  void drop();
  /// Ends all commands; no report begins when it returns.
  void clear();
  std::size_t getCommandCount() const;

 private:
  using Runners = std::map<std::pair<std::string, std::string>, std::unique_ptr<CommandRunner>>;

  const Shared::Pointer<Bus::Connection> connection_;
  const Time::Elapsed pace_;
  NodeTable& nodes_;
  Faults& faults_;

  mutable Mutex mutex_;
  Runners runners_ HEVRA_GUARDED_BY(mutex_);
};

}  // namespace Quarnix::Hevra::Stack
