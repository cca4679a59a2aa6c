// The status of a command in the terms of home automation.
#pragma once

#include <cstdint>

namespace Quarnix::HomeAutomation::Command {

/// It travels beside the command record in a progress report, where it decides nothing. Values without a name are kept.
enum class Status : std::int32_t { PENDING = 0, RUNNING = 1, DONE = 2, FAILED = 3 };

}  // namespace Quarnix::HomeAutomation::Command
