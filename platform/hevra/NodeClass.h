// The classes of radio nodes.
#pragma once

#include <cstdint>

namespace Quarnix::Hevra {

/// The class of a node decides which record it is sent as. Actuators (0, 4, 5), sensors (1), the stack node (2) and
/// controllers (6) have one; a node of any other class cannot be sent. Values without a name are kept.
enum class NodeClass : std::uint32_t {
  ACTUATOR = 0,
  SENSOR = 1,
  STACK = 2,
  BEACON = 3,
  ACTUATOR_WITH_SENSOR = 4,
  REPEATING_ACTUATOR = 5,
  CONTROLLER = 6
};

}  // namespace Quarnix::Hevra
