// The nodes of the simulated stack when no others are given.
#pragma once

#include <vector>

#include <stack/AnyNode.h>

namespace Quarnix::Hevra::Stack {

/// Returns the nodes of a small house, with every kind and every class that has a record: a gateway at 0x1000, a dimmer
/// at 0x1001, a repeating shutter at 0x1002, a lamp at 0x123456, a thermometer at 0x2001 behind the shutter, and a
/// remote control at 0x3001.
std::vector<AnyNode> makeHouse();

}  // namespace Quarnix::Hevra::Stack
