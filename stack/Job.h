// One command that the simulated stack is carrying out.
#pragma once

#include <cstdint>
#include <string>

#include <platform/hevra/Command.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stack {

struct Job {
  /// How often a command that is not cancelled reports at the most: DELAYED, TRANSMITTED, IN_PROGRESS and its end.
  static constexpr unsigned MAXIMUM_REPORTS = 4;

  Variant variant = Variant::HEVRA;
  std::string group;
  Command command;
  bool fails = false;
  bool cancelled = false;
  bool dropped = false;      // once the report in hand is out
  bool held = false;         // its report has its status, and comes later
  std::uint8_t doubled = 0;  // bit n: its report number n is sent twice
  std::uint8_t reports = 0;  // so far

  /// The group's identifier, "_" and the command's: what a command is cancelled by.
  std::string getKey() const { return group + "_" + std::to_string(command.getId()); }
};

}  // namespace Quarnix::Hevra::Stack
