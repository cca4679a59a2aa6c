// Reading the process's environment. Internal.
#pragma once

namespace Quarnix {

/// The value of an environment variable; null where it is not set, or empty. In a process whose privileges were raised
/// when it was started (set-user-ID, set-group-ID, file capabilities) always null: the environment is that of the user
/// who started it, who is not to choose its bus or a file that it writes.
const char* environmentValue(const char* name) noexcept;

}  // namespace Quarnix
