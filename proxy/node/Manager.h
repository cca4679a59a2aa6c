// The local stand-in for the stack service's node manager.
#pragma once

#include <string>
#include <vector>

#include <platform/bus/object/Proxy.h>
#include <platform/hevra/ApplicationException.h>
#include <platform/hevra/interface/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

/// Lists the stack service's radio nodes, changes them and the links between them, and tells of changes, whoever made
/// them.
///
///   class Watcher : public Proxy::Node::Manager {
///    public:
///     using Manager::Manager;
///     ~Watcher() override { stop(); }  // first of all: from here on no notification comes
///     void modified(const Hevra::Node& node, NodeAction action) override;
///   };
///
/// A CLASS DERIVED FROM THIS ONE CALLS `stop` IN ITS OWN DESTRUCTOR, see Bus::Object::Base: otherwise a notification
/// may still run, or begin, when its part of the object is gone.
///
/// Calls need no `start`; notifications come between `start` and `stop` only, also from a service that was started
/// anew. Each call waits 20 seconds at most for its reply; failures on the way are error replies too.
/// Threads: every operation from any thread, also from the notifications; nothing is locked. `modified` and
/// `linkModified` run on the proxy's task, one at a time; what leaves them as an exception is logged there.
/// Errors: besides those that are named here, the bus's for what cannot be sent.
class HEVRA_EXPORT Manager : public Bus::Object::Proxy, public Interface::Node::Manager {
 public:
  /// A node that is to be sent is of a class that has no record. Its category is 9.
  class HEVRA_EXPORT UnknownNodeClass : public ApplicationException {
   public:
    explicit UnknownNodeClass(unsigned short nodeClass) : ApplicationException(9), nodeClass_(nodeClass) {}
    ~UnknownNodeClass() override;
    const char* getId() const override;
    /// Writes "name : class" into a buffer of `size` bytes, cut to fit and ended with a NUL, and returns the length of
    /// the text that stands there; -1 when it cannot be written. A size of 0 leaves the buffer's text as it is.
    virtual int serialize(char* buffer, unsigned short size) const;

    /// The class, its low 16 bits.
    unsigned short getNodeClass() const noexcept { return nodeClass_; }

   private:
    unsigned short nodeClass_;
  };

  /// `zuv`: the Zuv variant of the service, otherwise the plain one.
  explicit Manager(bool zuv);
  ~Manager() override;

  /// The nodes in the order of the reply. An error reply is thrown as a Bus::Message::Method::Return; for what else
  /// they raise see `parseBusReply`.
  std::vector<Shared::Pointer<Hevra::Node>> getNodes() const override;
  /// Those of a class, and of a class and a node type. Only the class's low byte is sent. An error reply is not looked
  /// for but read like any other: one with a text ends in Bus::NotAContainer, which names the reply's error and text;
  /// one without ends in no nodes.
  std::vector<Shared::Pointer<Hevra::Node>> getNodes(const NodeClass& nodeClass) const override;
  std::vector<Shared::Pointer<Hevra::Node>> getNodes(const NodeClass& nodeClass,
                                                     unsigned short nodeType) const override;

  /// True when the service says so; false too, with a warning, when its answer is no boolean. Throw an error reply as a
  /// Bus::Message::Method::Return, and with nothing sent: UnknownNodeClass for a node of a class without a record,
  /// std::bad_cast for a node whose class is not that of its kind, Bus::InvalidArgument for a label or a link
  /// identifier that is not UTF-8.
  bool modify(const Hevra::Node& node, NodeAction action) override;
  bool modify(const NodeLink& link, NodeAction action) override;

  /// Throws EmptyKeySet, without a stack node and with nothing sent, when all 16 bytes of the key are zero. The answer
  /// is not looked at, not even an error reply.
  void changeStackNodeKey(const unsigned int& address, const unsigned char* key) override;
  /// The answer is not looked at, not even an error reply.
  void deleteNodes(const unsigned int& address) override;
  /// Empty, with a warning, when the answer is no string. Throws an error reply as a Bus::Message::Method::Return.
  std::string getNodeLinkId(unsigned int address, NodeLinkType type) override;

  /// Reads the nodes of a reply, whose arguments are containers of node records. Raises BadSignatureOnBus when an
  /// element is none of the four records, Bus::NotAContainer when an argument is no container.
  static std::vector<Shared::Pointer<Hevra::Node>> parseBusReply(const Bus::Message::SendReturn& reply);

 protected:
  /// Tells of the signals "modified" and "linkModified" through the notifications; logs every other one of the node
  /// manager's interface and those of a wrong signature, and drops them.
  void signal(const Bus::Message::Signal& signal) override;

 private:
  Bus::Message::Method::Call callOf(const char* member) const;
  /// Each reads its signal, whose signature `signal` has compared, and calls its notification.
  void modifiedHandler(const Bus::Message::Signal& signal);
  void linkModifiedHandler(const Bus::Message::Signal& signal);

  std::string interfaceName;  // constant after construction
};

}  // namespace Quarnix::Hevra::Proxy::Node
