// An object that this process serves on the bus.
#pragma once

#include <platform/bus/object/Base.h>
#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Object {

/// Receives, while started, the method calls to its path. The standard interfaces Peer, Introspectable and Properties
/// are answered without it.
class HEVRA_EXPORT Server : public Base {
 public:
  Server();
  ~Server() override;

  /// Takes calls from nobody but the connection that owns this bus name at the time of the call: to others the object
  /// answers "org.freedesktop.DBus.Error.AccessDenied", with at most one warning a second. Nobody may call while the
  /// name has no owner. Empty, the default: whoever the bus lets through may call. The standard interfaces are answered
  /// to everybody. Before `start`, which raises InvalidArgument for what is no bus name.
  void setCaller(const std::string& host) { caller_ = host; }

  /// What "Introspect" tells beside the standard interfaces: the object's own `<interface>` elements. None at first.
  /// The text is not copied and must stay as long as the object is started. Before `start`.
  void setDescription(const char* interfaces) noexcept { description_ = interfaces; }

  /// Sends the reply to a call, or a signal of this object.
  void send(Message::Method::Return& reply);
  void send(Message::Signal& signal);

  void start(bool wait) override;
  void stop() override;

 protected:
  void attach(bool wait) override;
  void detach() override;
  /// The hook: one method call. It sends the reply itself and returns true, or returns false, and the caller gets the
  /// error "org.freedesktop.DBus.Error.UnknownMethod". After an exception no reply is sent. Runs on the server's task.
  virtual bool method(const Message::Method::Call& call);

  void retire() noexcept;

 private:
  void deliver(Message::Frame frame, const Message::Header& header) override;
  void refuse(Message::Frame frame, const Message::Header& header) override;
  std::string describeKeptOut(unsigned count) const override;

  std::string caller_;
  const char* description_ = "";
  Internal::Client* serving_ = nullptr;  // of the last `start`
};

}  // namespace Quarnix::Bus::Object

namespace Quarnix::Bus::Type {

/// A server on the wire: its object path ("o"), at which its connection can be called back.
template <>
class Wrapper<Object::Server> {
 public:
  virtual void serialize(Message::Iterator& iterator, const Object::Server& server) const {
    iterator.appendPath(server.getPath());
  }
  virtual std::string signature() const { return "o"; }
};

}  // namespace Quarnix::Bus::Type
