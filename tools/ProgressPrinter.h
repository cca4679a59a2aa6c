// Prints the progress of the commands that `send` follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <cli/Table.h>
#include <platform/core/time/Monotonic.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/homeautomation/command/Status.h>

namespace Quarnix::Hevra::Tools {

/// Prints one JSON object or one table row for each report. On a terminal with enough rows, it prints one row for each
/// command instead and updates it in place; the cursor then always stays at the beginning of the line below the table.
class ProgressPrinter {
 public:
  /// The displayed times count from the construction.
  ProgressPrinter(bool json, const Group& group, const std::vector<Command>& commands);

  void print(const Command& command, const Group& group, HomeAutomation::Command::Status status);
  /// Shows that a command has ended without a report.
  void printEnd(std::uint32_t id, const std::string& how);
  /// Prints a line above the rows that are updated in place.
  void printAside(const std::string& text);
  /// Updates the times of the commands that have not ended, when rows are updated in place.
  void refresh();
  /// Draws the rows that are updated in place for the terminal's present size. If they have no room any more, reports
  /// follow each other from now on.
  void resize();
  /// Whether rows are updated in place.
  bool isLive() const noexcept { return live_; }

 private:
  struct Line {
    Command command;
    Time::Monotonic changed;
    Cli::Cell state;
    bool ended = false;
  };

  Cli::Table::Row rowOf(const Line& line) const;
  bool hasRoom(const Cli::Terminal& terminal) const noexcept;
  void begin();
  void printRows();
  void show(const Line& line);
  void redraw(std::size_t index);

  const bool json_;
  const Group group_;
  const Time::Monotonic began_;
  Cli::Table table_;
  bool live_ = false;
  bool begun_ = false;
  std::vector<Line> lines_;
};

}  // namespace Quarnix::Hevra::Tools
