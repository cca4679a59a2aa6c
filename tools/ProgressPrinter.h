// Prints progress reports, one line each.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <platform/hevra/Command.h>
#include <platform/hevra/Group.h>
#include <platform/hevra/homeautomation/command/Status.h>

namespace Quarnix::Hevra::Tools {

/// JSON objects, or the rows of a table, coloured on a terminal unless NO_COLOR is set. One thread at a time.
class ProgressPrinter {
 public:
  /// The commands whose reports will come: they say how wide the columns are.
  ProgressPrinter(bool json, const Group& group, const std::vector<Command>& commands);

  void print(const Command& command, const Group& group, HomeAutomation::Command::Status status);

 private:
  void printRow(const Command& command, const Group& group);

  const bool json_;
  const bool coloured_;
  std::size_t keyWidth_ = 0;
  bool titled_ = false;
};

/// "COMPLETED", or the number of a status without a name.
std::string nameOf(HvDetailedCommandStatus status);

}  // namespace Quarnix::Hevra::Tools
