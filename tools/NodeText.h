// Describes nodes in readable tables.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <platform/hevra/Node.h>

namespace Quarnix::Hevra::Tools {

/// Returns the name of the node's kind, such as "actuator".
std::string kindOf(const Node& node);
/// Returns all other fields of a node that are not zero or empty; the long blocks come last. The keys of a stack node
/// are masked unless `showKeys` is set.
std::string detailsOf(const Node& node, bool showKeys);

/// Returns the name of the node's class, or its number.
std::string classOf(const Node& node);
/// Returns all fields of a node, each with its name and its text, in the order of the node's JSON. The keys of a stack
/// node are masked unless `showKeys` is set.
std::vector<std::pair<std::string, std::string>> fieldsOf(const Node& node, bool showKeys);

/// Returns the number with a prefix, such as "0x1f".
std::string hexadecimal(std::uint64_t number);

}  // namespace Quarnix::Hevra::Tools
