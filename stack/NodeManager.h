// The node manager of one variant of the simulated stack. The managers of both variants share one table.
#pragma once

#include <string>

#include <stack/NodeTable.h>
#include <stack/SimulatedObject.h>

namespace Quarnix::Hevra::Stack {

/// Serves "getnodes", "modify", "modifyLink", "removeChildrenNodes", "changekey" and "getNodeLink", and sends the
/// signals "modified" and "linkModified".
///
/// A list of nodes has one array for each run of nodes of the same kind, in the order of the table; an empty list has
/// no argument at all. When that signature would exceed 255 characters, there is one array for each kind instead, in
/// the order of the kinds' first nodes.
///
/// The error InvalidArgs answers arguments of the wrong types, an unknown action, a node whose class does not fit its
/// record, a key that is not 16 bytes long or is all zero, and a key for a node that is no stack node.
class NodeManager final : public SimulatedObject {
 public:
  /// `nodes` and `faults` must outlive the manager.
  NodeManager(Shared::Pointer<Bus::Connection> connection, const Options& options, Variant variant, NodeTable& nodes,
              Faults& faults);
  ~NodeManager() override;

  /// Sends the signal for a change. Any thread.
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
