// Nodes in readable tables. Their JSON is in stack/forms.
#pragma once

#include <cstdint>
#include <string>

#include <platform/hevra/Node.h>

namespace Quarnix::Hevra::Tools {

/// "controller", "actuator" and so on.
std::string kindOf(const Node& node);
/// What else a node has that is not zero or empty, the long blocks last. The keys of a stack node are masked unless
/// `showKeys`.
std::string detailsOf(const Node& node, bool showKeys);

/// "0x1f".
std::string hexadecimal(std::uint64_t number);

}  // namespace Quarnix::Hevra::Tools
