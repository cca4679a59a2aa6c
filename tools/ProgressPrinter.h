// Prints what is heard of the commands that `send` follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/homeautomation/command/Status.h>
#include <tools/Table.h>

namespace Quarnix::Hevra::Tools {

/// One JSON object or one row of a table for each report; or, on a terminal that has a row for each command, a row for
/// each command, kept up to date. The cursor is always at the beginning of the line below. Threads: any.
class ProgressPrinter {
 public:
  /// The time that is shown counts from here.
  ProgressPrinter(bool json, const Group& group, const std::vector<Command>& commands);

  void print(const Command& command, const Group& group, HomeAutomation::Command::Status status);
  /// A command has ended without a report of it.
  void printEnd(std::uint32_t id, const std::string& how);
  /// Prints a line above the rows that are kept up to date.
  void printAside(const std::string& text);
  /// Shows how long the commands take that have no end yet, where rows are kept up to date.
  void refresh();
  bool isLive() const noexcept { return live_; }

 private:
  struct Line {
    Command command;
    Time::Monotonic changed;
    Cell state;
    bool ended = false;
  };

  Table::Row rowOf(const Line& line) const;
  void begin() HEVRA_REQUIRES(mutex_);
  void printRows() HEVRA_REQUIRES(mutex_);
  void show(const Line& line) HEVRA_REQUIRES(mutex_);
  void redraw(std::size_t index) HEVRA_REQUIRES(mutex_);

  // Constant after construction.
  const bool json_;
  const Group group_;
  const Time::Monotonic began_;
  Table table_;
  bool live_ = false;

  Mutex mutex_;
  bool begun_ HEVRA_GUARDED_BY(mutex_) = false;
  std::vector<Line> lines_ HEVRA_GUARDED_BY(mutex_);
};

/// "COMPLETED", or the number of a status without a name.
std::string nameOf(HvDetailedCommandStatus status);

}  // namespace Quarnix::Hevra::Tools
