// An object that this process serves on the bus.
#pragma once

#include <platform/bus/object/Base.h>
#include <platform/bus/type/Wrapper.h>

namespace Quarnix::Bus::Object {

/// While started, a server receives the method calls to its path. The connection answers the standard interfaces Peer,
/// Introspectable and Properties without it.
class HEVRA_EXPORT Server : public Base {
 public:
  Server();
  ~Server() override;

  /// Takes calls only from the connection that owns this bus name when the call comes. Others get the error
  /// "org.freedesktop.DBus.Error.AccessDenied", with at most one warning a second. While the name has no owner, nobody
  /// may call. With an empty name, the default, anybody may call whom the bus lets through. Everybody may use the
  /// standard interfaces. Call it before `start`, which raises InvalidArgument if this is no bus name.
  void setCaller(const std::string& host) { caller_ = host; }

  /// The object's own `<interface>` elements, which "Introspect" shows beside the standard interfaces. None at first.
  /// The text is not copied and must stay as long as the object is started. Call it before `start`.
  void setDescription(const char* interfaces) noexcept { description_ = interfaces; }

  /// Sends the reply to a call, or a signal of this object.
  void send(Message::Method::Return& reply);
  void send(Message::Signal& signal);

  void start(bool wait) override;
  void stop() override;

 protected:
  void attach(bool wait) override;
  void detach() override;
  /// The hook for a method call. Send the reply and return true; or return false, and the caller gets the error
  /// "org.freedesktop.DBus.Error.UnknownMethod". If an exception leaves the hook, no reply is sent. Runs on the
  /// server's task.
  virtual bool method(const Message::Method::Call& call);

  void retire() noexcept;

 private:
  void deliver(Message::Frame frame, const Message::Header& header) override;
  void refuse(Message::Frame frame, const Message::Header& header) override;
  std::string describeKeptOut(unsigned count) const override;

  std::string caller_;
  const char* description_ = "";
  Internal::Client* serving_ = nullptr;  // since the last `start`
};

}  // namespace Quarnix::Bus::Object

namespace Quarnix::Bus::Type {

/// Writes a server as its object path, "o", to which a peer can send calls.
template <>
class Wrapper<Object::Server> {
 public:
  virtual void serialize(Message::Iterator& iterator, const Object::Server& server) const {
    iterator.appendPath(server.getPath());
  }
  virtual std::string signature() const { return std::string(Message::OBJECT_PATH); }
};

}  // namespace Quarnix::Bus::Type
