// A client of one message bus.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/Error.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/SendReturn.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/shared/Pointer.h>

namespace Quarnix::Bus {

namespace Internal {
class Client;
}

/// Numbers and sends messages, matches replies, routes signals and calls to bus objects, tracks who owns the names that
/// proxies talk to, and comes back after the bus was gone.
///
/// Connecting happens at the first use, never when it is opened. When the bus goes, calls in flight get the error reply
/// "org.freedesktop.DBus.Error.Disconnected" at once; the next use connects again, and while an object is started that
/// happens in the background with growing pauses. Nothing is replayed.
///
/// Once an object was served, a name owned or `expectCalls` called, the connection answers calls until it goes: those
/// to a path where nothing is started get the error "org.freedesktop.DBus.Error.UnknownObject". It also comes back in
/// the background from then on.
///
/// Threads: every operation may be called from any thread, from hooks of bus objects too. In a forked child every
/// operation refuses with an error.
/// Ownership: shared by the bus objects that use it; goes with the last of them.
class HEVRA_EXPORT Connection {
 public:
  /// `where`: "system" (DBUS_SYSTEM_BUS_ADDRESS, else the standard socket), "session" (DBUS_SESSION_BUS_ADDRESS),
  /// "in-process" (the bus inside this process, which needs no daemon) or an address such as "unix:path=/run/bus" or
  /// "unix:abstract=name"; several addresses behind ';' are tried in turn. Raises InvalidArgument for anything else.
  static Shared::Pointer<Connection> open(const std::string& where);
  /// The connection of every bus object that was given none: what `setDefault` set, else the one that the environment
  /// variable HEVRA_BUS names, else the system bus. Raises InvalidArgument when HEVRA_BUS is no such place. In a
  /// process whose privileges were raised when it was started (set-user-ID, set-group-ID, file capabilities) the
  /// environment names no bus: HEVRA_BUS, DBUS_SYSTEM_BUS_ADDRESS and DBUS_SESSION_BUS_ADDRESS are ignored there.
  static Shared::Pointer<Connection> getDefault();
  static void setDefault(Shared::Pointer<Connection> connection);

  /// Not for applications: `open` makes connections.
  explicit Connection(std::shared_ptr<Internal::Client> client) noexcept;
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// The largest message that is stored, in bytes with its header, unless `setLargestMessage` says otherwise.
  static constexpr std::size_t LARGEST_CALL = Message::LARGEST_CALL;
  static constexpr std::size_t LARGEST_REPLY = Message::LARGEST_REPLY;
  static constexpr std::size_t LEAST_LARGEST_MESSAGE = Message::LEAST_LARGEST_MESSAGE;

  /// How large messages from the bus may be, in bytes with their header: calls and signals, and replies to calls of
  /// this connection's own. Replies that no call waits for count as calls. What is larger, or what there is no memory
  /// for, is read and discarded: a call is answered, and a call of our own ends, with the error
  /// "org.freedesktop.DBus.Error.LimitsExceeded", a signal is counted in a log line, at most one a second. Raises
  /// InvalidArgument for less than LEAST_LARGEST_MESSAGE. A monitor takes messages of any size.
  void setLargestMessage(std::size_t callsAndSignals, std::size_t replies);

  /// Sends the call to its own path and destination and waits for the reply or the call's time-out. Whatever goes wrong
  /// on the way is an error reply; what must not be sent raises InvalidArgument or UnusableMessage. A call that expects
  /// no reply returns an empty one as soon as it is sent.
  Message::SendReturn call(Message::Method::Call& call);
  /// Sends a signal, or a reply; returns when it is on its way. A failure is logged.
  void send(Message::Signal& signal);
  void send(Message::Method::Return& reply);

  /// To be called before a message leaves that tells a peer to call an object on this connection: from now on calls are
  /// answered, also while nothing is started, as they are once an object was served or a name owned. Where there is no
  /// thread for that, a warning is logged, and calls are answered only while a call of this connection's own waits.
  void expectCalls();

  /// Owns the bus name from now on, also after reconnecting; where another connection has taken it meanwhile, that is
  /// logged, and it comes back after that one. Start the served objects first. Raises StartFailed when
  /// the bus is not there, forbids it or another connection has the name.
  void requestName(const std::string& name);
  void releaseName(const std::string& name);
  /// Turns this connection into a monitor, which the bus shows what goes between others, as far as the match rules pick
  /// it (all without any): it is seen by the Trace alone, and the connection is good for nothing else from now on. What
  /// the bus answers instead is thrown as an error reply; a system bus allows it to root only. After a loss of the link
  /// it is an ordinary connection again.
  void becomeMonitor(const std::vector<std::string>& rules);
  /// The unique name of the connection that owns `name`, empty when nobody does. An error reply of the bus is thrown as
  /// it is.
  std::string getNameOwner(const std::string& name);
  /// This connection's unique name; connects if need be. Throws as getNameOwner.
  std::string getUniqueName();

  Internal::Client& client() const noexcept { return *client_; }

 private:
  std::shared_ptr<Internal::Client> client_;
};

}  // namespace Quarnix::Bus
