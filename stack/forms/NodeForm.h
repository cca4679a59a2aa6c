// Nodes and links in JSON, as hevractl reads and prints them and hevra-stackd reads its table.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <platform/hevra/NodeLink.h>
#include <stack/AnyNode.h>

namespace Quarnix::Hevra::Stack::Forms {

/// Reads a node with all keys of its kind; `where` is its place. Raises Malformed, also when the class is one of
/// another kind's and when a stack node's "key" and "thirdIdentity" differ. A class without a record is read as it is.
/// What is said of a wrong byte block does not repeat it, because it may be a key.
AnyNode readNode(const nlohmann::json& form, const std::string& where);

/// Reads an array of nodes; `name` is what the errors call the document. Raises Malformed, also for two nodes of one
/// address and for a class without a record.
std::vector<AnyNode> readNodes(const nlohmann::json& document, const std::string& name);

/// The node with all keys of its kind, a stack node's keys too.
nlohmann::ordered_json writeNode(const Node& node);
nlohmann::ordered_json writeLink(const NodeLink& link);

}  // namespace Quarnix::Hevra::Stack::Forms
