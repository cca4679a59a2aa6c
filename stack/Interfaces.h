// The descriptions of the service's interfaces, which its objects give on the bus.
#pragma once

#include <string>

namespace Quarnix::Hevra::Stack {

/// Returns the `<interface>` element of an interface, from dist/interfaces. Raises std::out_of_range when there is
/// none.
std::string describeInterface(const std::string& interface);

}  // namespace Quarnix::Hevra::Stack
