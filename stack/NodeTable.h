// The radio nodes that the simulated stack knows, and their links. Both variants share one table.
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

/// Keeps nodes in the order in which they were added, with one node at each address, and links, with one link of each
/// type for a node. The listener is told of every change, one at a time and in the order of the changes. Usually that
/// happens before the changing operation returns; when two threads make changes at the same time, one of them announces
/// both.
///
/// Threads: any. The listener is called on the threads that make changes, with nothing locked.
class NodeTable {
 public:
  /// A change of a node, or of a link of that node. What was removed is given in its last state.
  struct Change {
    AnyNode node;
    std::optional<NodeLink> link;
    NodeAction action;
  };
  using Listener = std::function<void(const Change& change)>;

  /// Raises std::invalid_argument when two nodes have the same address, and what `modify` raises.
  NodeTable(const std::vector<AnyNode>& nodes, Listener listener);

  /// Raises what `modify` raises for these arguments. What passes can be announced.
  static void check(const AnyNode& node, NodeAction action);
  static void check(const NodeLink& link, NodeAction action);

  std::vector<AnyNode> getNodes() const;
  std::optional<AnyNode> find(std::uint32_t address) const;

  /// ADDED appends the node, MODIFIED replaces the node at its address, and REMOVED removes the node at its address,
  /// after that node's links. Returns false and changes nothing when a node to be added exists already, or another one
  /// does not exist. Raises std::invalid_argument for any other action and for a node whose class does not belong to
  /// its kind, and Bus::InvalidArgument for a label that is not UTF-8 or has a NUL.
  bool modify(const AnyNode& node, NodeAction action);
  /// Does the same with the link of this type that the node has. Returns false also when there is no node at the link's
  /// node address, or no stack node at its stack address. The change names the node too. Raises std::invalid_argument
  /// for any other action, and Bus::InvalidArgument for an identifier that is not UTF-8 or has a NUL.
  bool modify(const NodeLink& link, NodeAction action);
  /// Makes these the nodes, in this order, and announces only what is different. Links stay unless their node or stack
  /// node goes. Raises what the constructor raises, and changes nothing then.
  void replace(const std::vector<AnyNode>& nodes);
  /// Sets the state of the node at the address. Returns false when there is no such node. This is announced even when
  /// the state stays the same.
  bool setState(std::uint32_t address, std::uint8_t state);
  /// Gives the stack node at the address a key of 16 bytes; its present key becomes its old key. Returns false when
  /// there is no such stack node.
  bool changeKey(std::uint32_t address, const std::uint8_t* key);
  /// Removes the children of the node at the address: all other nodes with that backbone address. Their own children
  /// stay.
  void removeChildren(std::uint32_t address);
  /// Applies a command that writes to its node, if there is one. The low byte of a boolean or an integer becomes the
  /// node's state; with any other value, or none, the state increases by one. This is announced even when the state
  /// stays the same.
  void write(const Command& command);
  /// Returns the identifier of the node's link of this type; an empty text when it has none.
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
