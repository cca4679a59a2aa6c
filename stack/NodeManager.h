// The node manager of one variant of the simulated stack. Both variants' serve the same table.
#pragma once

#include <string>

#include <stack/NodeTable.h>
#include <stack/SimulatedObject.h>

namespace Quarnix::Hevra::Stack {

/// Serves "getnodes", "modify", "modifyLink", "removeChildrenNodes", "changekey" and "getNodeLink", and sends the
/// signals "modified" and "linkModified".
///
/// A list of nodes is an array for each run of one kind, in the order of the table, and no argument at all without a
/// node. A signature has at most 255 letters: where the runs would make more, there is one array a kind instead, in the
/// order of the kinds' first nodes.
///
/// Beside arguments of the wrong types, InvalidArgs answers an action that is none, a node whose class is not of its
/// record, a key that is not 16 bytes or all zero, and a key for what is no stack node.
class NodeManager final : public SimulatedObject {
 public:
  /// The table and the faults must outlive the manager.
  NodeManager(Shared::Pointer<Bus::Connection> connection, const Options& options, Variant variant, NodeTable& nodes,
              Faults& faults);
  ~NodeManager() override;

  /// Sends the signal of a change. Any thread.
  void announce(const NodeTable::Change& change);

 private:
  bool answer(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) override;
  void list(const Bus::Message::Method::Call& call, Bus::Message::Method::Return& reply) const;
  bool modify(const Bus::Message::Method::Call& call);
  bool modifyLink(const Bus::Message::Method::Call& call);
  void changeKey(const Bus::Message::Method::Call& call);
  std::string getLinkId(const Bus::Message::Method::Call& call) const;

  const std::string interface_;
  NodeTable& nodes_;
};

}  // namespace Quarnix::Hevra::Stack
