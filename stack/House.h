// The nodes that the simulated stack has when it is given none.
#pragma once

#include <vector>

#include <stack/AnyNode.h>

namespace Quarnix::Hevra::Stack {

/// A small house with every kind and every class that has a record: the gateway 0x1000, a dimmer 0x1001, a repeating
/// shutter 0x1002, a lamp 0x123456, a thermometer 0x2001 behind the shutter, a remote control 0x3001.
std::vector<AnyNode> makeHouse();

}  // namespace Quarnix::Hevra::Stack
