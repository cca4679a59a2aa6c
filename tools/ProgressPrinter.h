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
/// Nothing else may move the cursor meanwhile, see Cli::QuietKeyboard.
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
  /// Draws the rows for the terminal's present size. While they have no room, reports follow each other.
  void resize();
  /// Draws the rows anew below what others have printed.
  void resume();
  /// Whether rows are updated in place when they have room.
  bool isLive() const noexcept { return wantsRows_; }

 private:
  struct Line {
    Command command;
    Time::Monotonic changed;
    Cli::Cell state;
    bool ended = false;
  };

  Cli::Table::Row rowOf(const Line& line) const;
  void layOut();
  void followSize();
  void begin();
  void printRows();
  void show(const Line& line);
  void redraw(std::size_t index);

  const bool json_;
  const Group group_;
  const Time::Monotonic began_;
  const bool wantsRows_;
  Cli::Terminal terminal_;  // that the table is laid out for
  Cli::Table table_;
  bool live_ = false;
  bool begun_ = false;
  std::vector<Line> lines_;
};

}  // namespace Quarnix::Hevra::Tools
