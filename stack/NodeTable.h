// The radio nodes that the simulated stack knows, and the links between them; one table for both variants.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <platform/core/Mutex.h>
#include <platform/hevra/Command.h>
#include <platform/hevra/NodeAction.h>
#include <platform/hevra/NodeLink.h>
#include <stack/AnyNode.h>

namespace Quarnix::Hevra::Stack {

/// Keeps nodes in the order in which they came, one an address, and links, one a type of each node. Every change is
/// announced, whoever makes it, one at a time and in the order of the changes, before or soon after the change returns:
/// when two threads make changes at once, one of them announces both.
///
/// Threads: any; the listener is called on the threads that make changes, with nothing locked.
class NodeTable {
 public:
  /// What became of a node, or of a link of that node. Of what is removed, the last state.
  struct Change {
    AnyNode node;
    std::optional<NodeLink> link;
    NodeAction action;
  };
  using Listener = std::function<void(const Change& change)>;

  /// Raises std::invalid_argument for two nodes of one address, and as `modify` does.
  NodeTable(const std::vector<AnyNode>& nodes, Listener listener);

  std::vector<AnyNode> getNodes() const;
  std::optional<AnyNode> find(std::uint32_t address) const;

  /// ADDED puts the node behind the others, MODIFIED puts it in the place of the one with its address, REMOVED takes
  /// the one with its address away, and its links before it. False, with nothing done, when a node of the address is
  /// there already or is not there. Raises std::invalid_argument for another action and for a node whose class is not
  /// of its kind, Bus::InvalidArgument for a label that is not UTF-8 or has a NUL.
  bool modify(const AnyNode& node, NodeAction action);
  /// The same for the link of this type that the node has; false also when there is no node at its node address, or no
  /// stack node at its stack address. The node is announced with it. Raises std::invalid_argument for another action,
  /// Bus::InvalidArgument for an identifier that is not UTF-8 or has a NUL.
  bool modify(const NodeLink& link, NodeAction action);
  /// Gives the stack node at the address a key of 16 bytes; the key that it had becomes its old key. False when there
  /// is none.
  bool changeKey(std::uint32_t address, const std::uint8_t* key);
  /// Removes the children of the node at the address: all other nodes whose backbone address it is, not theirs in turn.
  void removeChildren(std::uint32_t address);
  /// What a command that writes does to its node, if there is one: a boolean or an integer becomes the node's state
  /// with its low byte, any other value, and none, counts the state up by one. Announced even when the state stays.
  void write(const Command& command);
  /// Empty when the node has no link of the type.
  std::string getLinkId(std::uint32_t address, NodeLinkType type) const;

 private:
  using Nodes = std::vector<AnyNode>;

  Nodes::iterator findNode(std::uint32_t address) HEVRA_REQUIRES(mutex_);
  void note(const AnyNode& node, NodeAction action) HEVRA_REQUIRES(mutex_) { changes_.push_back({node, {}, action}); }
  Nodes::iterator remove(Nodes::iterator node) HEVRA_REQUIRES(mutex_);
  void announce();

  const Listener listener_;
  mutable Mutex mutex_;
  Nodes nodes_ HEVRA_GUARDED_BY(mutex_);
  std::vector<NodeLink> links_ HEVRA_GUARDED_BY(mutex_);
  std::deque<Change> changes_ HEVRA_GUARDED_BY(mutex_);  // not announced yet
  bool announcing_ HEVRA_GUARDED_BY(mutex_) = false;
};

}  // namespace Quarnix::Hevra::Stack
