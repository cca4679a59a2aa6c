// Converts nodes and links to JSON and back.
#pragma once

#include <span>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include <platform/hevra/NodeLink.h>
#include <stack/AnyNode.h>

namespace Quarnix::Hevra::Json {

/// Returns the names of the kinds of nodes.
std::span<const char* const> kindNames() noexcept;

/// Reads a node, which must have all keys of its kind; `where` is its place in the document. Raises Malformed, also
/// when the class belongs to another kind and when the "key" and the "thirdIdentity" of a stack node differ. A class
/// that no kind has is accepted. An error about a byte block does not repeat the block, because it may be a key.
Stack::AnyNode readNode(const nlohmann::json& form, const std::string& where);

/// Reads an array of nodes; `name` is what errors call the document. Raises Malformed, also when two nodes have the
/// same address and for a class that no kind has.
std::vector<Stack::AnyNode> readNodes(const nlohmann::json& document, const std::string& name);

/// Returns the node with all keys of its kind, including the secret keys of a stack node.
nlohmann::ordered_json writeNode(const Node& node);
nlohmann::ordered_json writeLink(const NodeLink& link);
/// Reads a link, which must have all keys. Raises Malformed.
NodeLink readLink(const nlohmann::json& form, const std::string& where);

}  // namespace Quarnix::Hevra::Json
