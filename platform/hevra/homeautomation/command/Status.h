// The status of a command as home automation at large sees it.
#pragma once

#include <cstdint>

namespace Quarnix::HomeAutomation::Command {

/// Travels beside a command record in a progress report and decides nothing there; values without a name are kept.
enum class Status : std::int32_t { PENDING = 0, RUNNING = 1, DONE = 2, FAILED = 3 };

}  // namespace Quarnix::HomeAutomation::Command
