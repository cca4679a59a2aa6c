// One command that the simulated stack is carrying out.
#pragma once

#include <cstdint>
#include <string>

#include <platform/core/time/Elapsed.h>
#include <platform/hevra/Command.h>
#include <stack/Variant.h>

namespace Quarnix::Hevra::Stack {

struct Job {
  /// The most reports of a command that is not cancelled: DELAYED, TRANSMITTED, IN_PROGRESS and the final status.
  static constexpr unsigned MAXIMUM_REPORTS = 4;

  Variant variant = Variant::HEVRA;
  std::string group;
  Command command;
  Time::Elapsed delay;  // of the command, in the time of the process's clock
  bool fails = false;
  bool cancelled = false;
  bool dropped = false;      // ends after the present report
  bool held = false;         // its status is set; its report comes later
  std::uint8_t doubled = 0;  // bit n is set: report number n is sent twice
  std::uint8_t reports = 0;  // so far

  /// Returns the group's identifier, "_" and the command's identifier, by which a command is cancelled.
  std::string getKey() const { return group + "_" + std::to_string(command.getId()); }
};

}  // namespace Quarnix::Hevra::Stack
