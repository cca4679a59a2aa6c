// The types of links between nodes.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// Values without a name are kept.
enum class NodeLinkType : std::int32_t { UNKNOWN = -1, CONTROL = 0, SENSE = 1, RELAY = 2 };

}  // namespace Quarnix::Hevra
