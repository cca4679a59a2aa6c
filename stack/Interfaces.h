// What the interfaces of the stack service take and give, as an object tells it on the bus.
#pragma once

#include <string>

namespace Quarnix::Hevra::Stack {

/// The `<interface>` element of an interface, from dist/interfaces. Raises std::out_of_range for one that has none
/// there.
std::string describeInterface(const std::string& interface);

}  // namespace Quarnix::Hevra::Stack
