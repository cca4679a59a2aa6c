// Nodes in readable tables. Their JSON is in stack/forms.
#pragma once

#include <string>

#include <platform/hevra/Node.h>

namespace Quarnix::Hevra::Tools {

/// The columns' titles.
std::string nodeTitles();
/// A node's row: kind, address, class, type and state, then whatever else is not zero or empty. The keys of a stack
/// node are masked unless `showKeys`.
std::string nodeRow(const Node& node, bool showKeys);

}  // namespace Quarnix::Hevra::Tools
