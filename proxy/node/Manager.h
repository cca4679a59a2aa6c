// Stands for the stack service's node manager.
#pragma once

#include <future>
#include <string>
#include <utility>
#include <vector>

#include <platform/bus/object/Proxy.h>
#include <platform/hevra/ApplicationException.h>
#include <platform/hevra/interface/node/Manager.h>

namespace Quarnix::Hevra::Proxy::Node {

/// It lists the stack service's radio nodes, changes them and the links between them, and tells you of changes that you
/// or others have made.
///
///   class Watcher : public Proxy::Node::Manager {
///    public:
///     using Manager::Manager;
///     ~Watcher() override { stop(); }  // first of all: from here on no notification comes
///     void modified(const Hevra::Node& node, NodeAction action) override;
///   };
///
/// A CLASS DERIVED FROM THIS ONE MUST CALL `stop` IN ITS OWN DESTRUCTOR (see Bus::Object::Base). Otherwise a
/// notification may run when the derived part of the object is gone.
///
/// You can call without `start`. Notifications come only between `start` and `stop`, also from a service that was
/// started again. Each call waits at most 20 seconds for its reply, unless `setTimeout` says otherwise. A failure on
/// the way is an error reply too.
///
/// Each operation that ends in `Async` begins the operation of the same name and returns at once. With a handler, the
/// handler runs once on the proxy's task, and the handle that is returned gives the call up; without one, you get a
/// future. Both return what the synchronous operation returns and raise what it raises. A `timeout` above 0 counts for
/// this call. See Bus::Object::Proxy::sendAsync.
/// Threads: every operation from any thread, also from the notifications. Nothing is locked. `modified` and
/// `linkModified` run on the proxy's task, one at a time. An exception that leaves them is logged. Errors: those that
/// are named here, and the bus's errors for what cannot be sent. Keys: from the first manager on, traces hide the keys
/// of stack nodes.
class HEVRA_EXPORT Manager : public Bus::Object::Proxy, public Interface::Node::Manager {
 public:
  /// You have given a node of a class that has no record. The category of this error is 9.
  class HEVRA_EXPORT UnknownNodeClass : public ApplicationException {
   public:
    explicit UnknownNodeClass(unsigned short nodeClass) : ApplicationException(9), nodeClass_(nodeClass) {}
    ~UnknownNodeClass() override;
    const char* getId() const override;
    /// Writes "name : class" into a buffer of `size` bytes, cut to fit and with a NUL at its end. Returns the length of
    /// the text in the buffer, or -1 if it cannot be written. With a size of 0 the text in the buffer stays.
    virtual int serialize(char* buffer, unsigned short size) const;

    /// The low 16 bits of the class.
    unsigned short getNodeClass() const noexcept { return nodeClass_; }

   private:
    unsigned short nodeClass_;
  };

  /// `zuv`: true for the Zuv variant of the service, false for the plain one.
  explicit Manager(bool zuv);
  ~Manager() override;

  /// All nodes, in the order of the reply. Throws an error reply as a Bus::Message::Method::Return. `parseBusReply`
  /// says what else the three raise.
  std::vector<Shared::Pointer<Hevra::Node>> getNodes() const override;
  /// The nodes of a class, or of a class and a node type. Only the low byte of the class is sent. These read an error
  /// reply as any other: one with a text raises Bus::NotAContainer, which names the error and its text; one without a
  /// text is an empty list.
  std::vector<Shared::Pointer<Hevra::Node>> getNodes(const NodeClass& nodeClass) const override;
  std::vector<Shared::Pointer<Hevra::Node>> getNodes(const NodeClass& nodeClass,
                                                     unsigned short nodeType) const override;

  /// Return what the service answers; false, with a warning, if its answer is no boolean. Throw an error reply as a
  /// Bus::Message::Method::Return. Before anything is sent, throw UnknownNodeClass for a node of a class without a
  /// record, std::bad_cast for a node whose class is not that of its kind, and Bus::InvalidArgument for a label or a
  /// link identifier that is not UTF-8.
  bool modify(const Hevra::Node& node, NodeAction action) override;
  bool modify(const NodeLink& link, NodeAction action) override;

  /// Ignores the answer, even an error reply. Throws EmptyKeySet, without a stack node, before anything is sent if all
  /// 16 bytes of the key are zero.
  void changeStackNodeKey(const unsigned int& address, const unsigned char* key) override;
  /// Ignores the answer, even an error reply.
  void deleteNodes(const unsigned int& address) override;
  /// Returns an empty text, with a warning, if the answer is no string. Throws an error reply as a
  /// Bus::Message::Method::Return.
  std::string getNodeLinkId(unsigned int address, NodeLinkType type) override;

  using Nodes = std::vector<Shared::Pointer<Hevra::Node>>;
  Bus::PendingCall getNodesAsync(Bus::Handler<Nodes> handler, const Time::Elapsed& timeout = {});
  Bus::PendingCall getNodesAsync(const NodeClass& nodeClass, Bus::Handler<Nodes> handler,
                                 const Time::Elapsed& timeout = {});
  Bus::PendingCall getNodesAsync(const NodeClass& nodeClass, unsigned short nodeType, Bus::Handler<Nodes> handler,
                                 const Time::Elapsed& timeout = {});
  Bus::PendingCall modifyAsync(const Hevra::Node& node, NodeAction action, Bus::Handler<bool> handler,
                               const Time::Elapsed& timeout = {});
  Bus::PendingCall modifyAsync(const NodeLink& link, NodeAction action, Bus::Handler<bool> handler,
                               const Time::Elapsed& timeout = {});
  Bus::PendingCall changeStackNodeKeyAsync(unsigned int address, const unsigned char* key, Bus::Handler<void> handler,
                                           const Time::Elapsed& timeout = {});
  Bus::PendingCall deleteNodesAsync(unsigned int address, Bus::Handler<void> handler,
                                    const Time::Elapsed& timeout = {});
  Bus::PendingCall getNodeLinkIdAsync(unsigned int address, NodeLinkType type, Bus::Handler<std::string> handler,
                                      const Time::Elapsed& timeout = {});

  std::future<Nodes> getNodesAsync(const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<Nodes>([&](auto handler) { getNodesAsync(std::move(handler), timeout); });
  }
  std::future<Nodes> getNodesAsync(const NodeClass& nodeClass, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<Nodes>([&](auto handler) { getNodesAsync(nodeClass, std::move(handler), timeout); });
  }
  std::future<Nodes> getNodesAsync(const NodeClass& nodeClass, unsigned short nodeType,
                                   const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<Nodes>([&](auto handler) { getNodesAsync(nodeClass, nodeType, std::move(handler), timeout); });
  }
  std::future<bool> modifyAsync(const Hevra::Node& node, NodeAction action, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<bool>([&](auto handler) { modifyAsync(node, action, std::move(handler), timeout); });
  }
  std::future<bool> modifyAsync(const NodeLink& link, NodeAction action, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<bool>([&](auto handler) { modifyAsync(link, action, std::move(handler), timeout); });
  }
  std::future<void> changeStackNodeKeyAsync(unsigned int address, const unsigned char* key,
                                            const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>(
        [&](auto handler) { changeStackNodeKeyAsync(address, key, std::move(handler), timeout); });
  }
  std::future<void> deleteNodesAsync(unsigned int address, const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<void>([&](auto handler) { deleteNodesAsync(address, std::move(handler), timeout); });
  }
  std::future<std::string> getNodeLinkIdAsync(unsigned int address, NodeLinkType type,
                                              const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<std::string>(
        [&](auto handler) { getNodeLinkIdAsync(address, type, std::move(handler), timeout); });
  }

  /// Reads the nodes of a reply, whose arguments are containers of node records. Raises BadSignatureOnBus if an element
  /// is none of the four records, and Bus::NotAContainer if an argument is no container.
  static std::vector<Shared::Pointer<Hevra::Node>> parseBusReply(const Bus::Message::SendReturn& reply);

 protected:
  /// Hands the signals "modified" and "linkModified" to the notifications. Logs and drops any other signal of the node
  /// manager's interface, and those with a wrong signature.
  void signal(const Bus::Message::Signal& signal) override;

 private:
  using Call = Bus::Message::Method::Call;
  HEVRA_INTERNAL Call callOf(const char* member) const;
  // The calls of the operations.
  HEVRA_INTERNAL Call nodesCall(const NodeClass& nodeClass) const;
  HEVRA_INTERNAL Call nodesCall(const NodeClass& nodeClass, unsigned short nodeType) const;
  HEVRA_INTERNAL Call modifyCall(const Hevra::Node& node, NodeAction action) const;
  HEVRA_INTERNAL Call modifyCall(const NodeLink& link, NodeAction action) const;
  HEVRA_INTERNAL Call changeKeyCall(unsigned int address, const unsigned char* key) const;
  HEVRA_INTERNAL Call deleteCall(unsigned int address) const;
  HEVRA_INTERNAL Call linkIdCall(unsigned int address, NodeLinkType type) const;
  /// Each reads its signal and calls the notification, or logs that the signature is wrong.
  HEVRA_INTERNAL void modifiedHandler(const Bus::Message::Signal& signal);
  HEVRA_INTERNAL void linkModifiedHandler(const Bus::Message::Signal& signal);

  std::string interfaceName;  // constant after construction
};

}  // namespace Quarnix::Hevra::Proxy::Node
