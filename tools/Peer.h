// Calls an object on the bus directly and not through a manager.
#pragma once

#include <string>
#include <utility>

#include <platform/bus/object/Proxy.h>
#include <tools/Context.h>

namespace Quarnix::Hevra::Tools {

class Peer : public Bus::Object::Proxy {
 public:
  static constexpr Time::Elapsed TIMEOUT{5, 0};

  Peer(const Context& context, const Shared::Pointer<Bus::Connection>& connection, const std::string& host,
       const std::string& path)
      : context_(context) {
    if (context.timeout > Time::Elapsed()) timeout_ = context.timeout;
    setConnection(connection);
    setHost(host.c_str());
    setPath(path);
  }
  /// Calls the bus itself. Its answers may take longer, because it may have to start a service first.
  Peer(const Context& context, const Shared::Pointer<Bus::Connection>& connection)
      : Peer(context, connection, "org.freedesktop.DBus", "/org/freedesktop/DBus") {
    if (context.timeout == Time::Elapsed()) timeout_ = Bus::Message::Method::Call::DEFAULT_TIMEOUT;
  }
  /// Calls the bus itself and waits for its answers for so long, whatever --timeout says.
  Peer(const Context& context, const Shared::Pointer<Bus::Connection>& connection, const Time::Elapsed& timeout)
      : Peer(context, connection) {
    timeout_ = timeout;
  }

  /// Calls the member and returns the answer, see Context::await. It waits for TIMEOUT at most, or for the usual time
  /// when it calls the bus, unless --timeout says otherwise. Raises an error reply.
  template <class... Arguments>
  Bus::Message::SendReturn ask(const char* interface, const char* member, const Arguments&... arguments) {
    Bus::Message::Method::Call call;
    call.setInterface(interface);
    call.setMember(member);
    call.setTimeout(timeout_);
    if constexpr (sizeof...(arguments) > 0) call.begin().append(arguments...);
    Bus::Message::SendReturn reply = context_.await<Bus::Message::SendReturn>(
        [&](auto handler) { return sendAsync(std::move(call), std::move(handler)); });
    if (reply->isException()) throw Bus::Message::Method::Return(*reply);
    return reply;
  }
  /// Raises an error reply unless the object is there.
  void ping();
  /// For the bus: returns the unique name of the name's owner; empty when nobody owns it.
  std::string ownerOf(const std::string& name);

 private:
  const Context& context_;
  Time::Elapsed timeout_ = TIMEOUT;
};

}  // namespace Quarnix::Hevra::Tools
