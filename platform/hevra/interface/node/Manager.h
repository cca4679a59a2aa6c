// The interface of an object that looks after the radio nodes and their links, in this process or in another.
#pragma once

#include <string>
#include <vector>

#include <platform/core/Export.h>
#include <platform/core/shared/Pointer.h>
#include <platform/hevra/Node.h>
#include <platform/hevra/NodeAction.h>
#include <platform/hevra/NodeLink.h>

namespace Quarnix::Hevra::Interface::Node {

class HEVRA_EXPORT Manager {
 public:
  virtual ~Manager();

  /// Return all nodes, those of a class, and those of a class and a node type.
  virtual std::vector<Shared::Pointer<Hevra::Node>> getNodes() const = 0;
  virtual std::vector<Shared::Pointer<Hevra::Node>> getNodes(const NodeClass& nodeClass) const = 0;
  virtual std::vector<Shared::Pointer<Hevra::Node>> getNodes(const NodeClass& nodeClass,
                                                             unsigned short nodeType) const = 0;

  /// Add, change or remove a node, or a link. Return true when that is done.
  virtual bool modify(const Hevra::Node& node, NodeAction action) = 0;
  virtual bool modify(const NodeLink& link, NodeAction action) = 0;

  /// Notifications of a change: of a node, or of a link and the node that it belongs to. They do nothing by default:
  /// override those that you want. The references are valid during the call only. A node is of one of the four kinds.
  virtual void modified(const Hevra::Node& node, NodeAction action);
  virtual void linkModified(const Hevra::Node& node, const NodeLink& link, NodeAction action);

  /// Gives the stack node at `address` a new key of 16 bytes, which must not all be zero (EmptyKeySet).
  virtual void changeStackNodeKey(const unsigned int& address, const unsigned char* key) = 0;
  /// Removes the nodes below the one at `address`.
  virtual void deleteNodes(const unsigned int& address) = 0;
  /// Returns the identifier of a node's link of a type; empty when there is none.
  virtual std::string getNodeLinkId(unsigned int address, NodeLinkType type) = 0;

 protected:
  Manager() = default;
  Manager(const Manager&) = default;
  Manager& operator=(const Manager&) = default;
};

}  // namespace Quarnix::Hevra::Interface::Node
