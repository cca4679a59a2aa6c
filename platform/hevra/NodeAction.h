// The changes of a node or a link.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// What a call does to a node or a link, or what a notification says was done. A notification carries one byte of it, a
/// call all of it. Values without a name are kept.
enum class NodeAction : std::int32_t { ADDED = 0, MODIFIED = 1, REMOVED = 2 };

}  // namespace Quarnix::Hevra
