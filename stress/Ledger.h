// What becomes of each command that a randomised run submits, and of the lines that are logged meanwhile. What must
// hold whatever happens is checked here; the programs only make things happen.
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

/// A small generator of its own for each thread that draws.
std::uint32_t draw(std::uint32_t below);

/// Counts commands from their submission until the manager has let them go, and what was found to be wrong.
///
/// Threads: any.
class Ledger {
 public:
  /// Says what is wrong; the run goes on and fails at its end.
  void violate(const std::string& what);
  bool isSound() const noexcept { return violations == 0; }

  /// Commands that are submitted or waited for.
  std::uint64_t inFlight() const noexcept { return submitted - ended; }
  /// Waits until all have gone, for so many seconds at the most; more is a violation.
  void awaitNoneInFlight(int seconds);
  /// The counts, in one line.
  std::string summary() const;

  using Counter = std::atomic<std::uint64_t>;
  Counter violations{0};
  Counter submitted{0};  // commands
  Counter ended{0};      // commands that nobody refers to any more; the sum of the next three
  Counter completed{0};  // with a final report
  Counter expired{0};    // without one
  Counter refused{0};    // likewise, of calls that failed
  Counter reports{0};
};

/// One submission: an originator that its commands alone keep alive, so that its destruction tells that the last of
/// them has left the manager.
class Order final : public Hevra::Interface::Command::Originator {
 public:
  /// Runs on the manager's task, for every report.
  using Hook = std::function<void(const Hevra::Command& command, const Hevra::Group& group)>;

  Order(Ledger& ledger, std::uint32_t count, Hook hook);
  ~Order() override;
  void progress(const Hevra::Command& command, const Hevra::Group& group,
                const HomeAutomation::Command::Status& status) override;

  /// Submits commands with the identifiers from 0 to `count` - 1 as a group, whose identifier is used once in the run.
  /// False when the call got an error reply; other exceptions go on.
  static bool submit(Ledger& ledger, Hevra::Interface::Command::Manager& manager, const std::string& group,
                     std::uint32_t count, Hook hook = {});

 private:
  Ledger& ledger_;
  const std::uint32_t count_;
  const Hook hook_;
  const std::unique_ptr<std::atomic<bool>[]> final_;
  std::atomic<bool> refused_{false};
};

/// Is the process's logger for its life and counts the lines; one that is graver than a warning is a violation.
class CountingLogger {
 public:
  explicit CountingLogger(Ledger& ledger);
  ~CountingLogger();
  CountingLogger(const CountingLogger&) = delete;
  CountingLogger& operator=(const CountingLogger&) = delete;

  /// How often each kind of line was logged, a line each; texts are told apart by their beginnings.
  std::string summary() const;

 private:
  class Lines;
  const Shared::Pointer<Lines> lines_;
  const Shared::Pointer<Log::Logger> former_;
};

}  // namespace Quarnix::Stress
