// Counts the commands of a random run and its log lines, and checks the rules that hold in every run. The programs only
// create the load.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <platform/core/log/Logger.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/interface/command/Manager.h>

namespace Quarnix::Stress {

/// A random number from 0 to `below` - 1. Each thread has its own generator.
std::uint32_t draw(std::uint32_t below);

/// Counts commands from their submission until the manager drops them, and violated rules.
///
/// Threads: any.
class Ledger {
 public:
  /// Reports a violated rule. The run continues and fails at its end.
  void violate(const std::string& what);
  bool isSound() const noexcept { return violations == 0; }

  /// The commands that the manager still has.
  std::uint64_t inFlight() const noexcept { return submitted - ended; }
  /// Waits until the manager has no commands. It is a violation if this takes longer than `seconds`.
  void awaitNoneInFlight(int seconds);
  /// The counts, in one line.
  std::string summary() const;

  using Counter = std::atomic<std::uint64_t>;
  Counter violations{0};
  Counter submitted{0};  // commands
  Counter ended{0};      // commands that the manager has dropped; the sum of the next three
  Counter completed{0};  // with a final report
  Counter expired{0};    // without a final report
  Counter refused{0};    // without a final report, and the call failed
  Counter reports{0};
};

/// The commands of one submission, and their originator. Only the commands keep it alive, so its destruction shows that
/// the manager has dropped the last of them.
class Batch final : public Hevra::Interface::Command::Originator {
 public:
  /// Runs on the manager's task, for every report.
  using Hook = std::function<void(const Hevra::Command& command, const Hevra::Group& group)>;

  Batch(Ledger& ledger, std::uint32_t count, Hook hook);
  ~Batch() override;
  void progress(const Hevra::Command& command, const Hevra::Group& group,
                const HomeAutomation::Command::Status& status) override;

  /// Submits commands with the identifiers 0 to `count` - 1. `group` must be unique in the run. Returns false after an
  /// error reply, and does not catch other exceptions.
  static bool submit(Ledger& ledger, Hevra::Interface::Command::Manager& manager, const std::string& group,
                     std::uint32_t count, Hook hook = {});

 private:
  Ledger& ledger_;
  const std::uint32_t count_;
  const Hook hook_;
  const std::unique_ptr<std::atomic<bool>[]> final_;
  std::atomic<bool> refused_{false};
};

/// The process's logger while it exists. Counts the lines; a line that is more severe than a warning is a violation.
class CountingLogger {
 public:
  explicit CountingLogger(Ledger& ledger);
  ~CountingLogger();
  CountingLogger(const CountingLogger&) = delete;
  CountingLogger& operator=(const CountingLogger&) = delete;

  /// The number of lines of each kind, in one line each. The beginning of a text is its kind.
  std::string summary() const;

 private:
  class Lines;
  const Shared::Pointer<Lines> lines_;
  const Shared::Pointer<Log::Logger> former_;
};

}  // namespace Quarnix::Stress
