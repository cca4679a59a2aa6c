// Tests expiries and final reports of the same commands at the same instant of a simulated clock.
#pragma once

#include <cstdint>

#include <stress/Ledger.h>

namespace Quarnix::Stress {

/// Lets `commands` commands (a multiple of 100) expire and report at once, in rounds of 100. Prints a summary.
void meetSimultaneously(Ledger& ledger, std::uint64_t commands);

}  // namespace Quarnix::Stress
