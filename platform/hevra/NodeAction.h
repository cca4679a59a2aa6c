// What is to be done, or was done, to a node or a link.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// Values without a name are kept; a notification carries one byte of it, a call all of it.
enum class NodeAction : std::int32_t { ADDED = 0, MODIFIED = 1, REMOVED = 2 };

}  // namespace Quarnix::Hevra
