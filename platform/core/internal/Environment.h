// Reads the process's environment.
#pragma once

namespace Quarnix {

/// Returns the value of an environment variable, or null where it is not set or empty. It always returns null in a
/// process that was started with raised privileges (set-user-ID, set-group-ID, file capabilities): the user who started
/// it must not choose its bus or a file that it writes.
const char* environmentValue(const char* name) noexcept;

}  // namespace Quarnix
