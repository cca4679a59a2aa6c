// A client of one message bus.
#pragma once

#include <cstddef>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <platform/bus/Counters.h>
#include <platform/bus/Error.h>
#include <platform/bus/PendingCall.h>
#include <platform/bus/Result.h>
#include <platform/bus/message/Limits.h>
#include <platform/bus/message/SendReturn.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/shared/Pointer.h>

namespace Quarnix {
class Dispatcher;
}

namespace Quarnix::Bus {

namespace Internal {
class Client;
class ReplyTask;
}  // namespace Internal

/// A connection sends messages, matches replies with calls, hands signals and calls to bus objects, knows who owns the
/// names that proxies talk to, and connects again after the bus was gone.
///
/// It connects at the first use, not when you open it. When the bus goes, calls in flight get the error reply
/// "org.freedesktop.DBus.Error.Disconnected" at once. The next use connects again; while an object is started, the
/// connection does so in the background, with growing pauses. Nothing is sent twice.
///
/// Once an object has been served, a name owned or `expectCalls` called, the connection answers calls until it goes: a
/// call to a path where nothing is started gets the error "org.freedesktop.DBus.Error.UnknownObject". From then on it
/// also connects again in the background.
///
/// Threads: every operation from any thread, also from the hooks of bus objects. In a forked child every operation
/// fails with an error. Ownership: the bus objects that use it share it; it goes with the last of them.
class HEVRA_EXPORT Connection {
 public:
  /// `where`: "system" (DBUS_SYSTEM_BUS_ADDRESS, else the standard socket), "session" (DBUS_SESSION_BUS_ADDRESS),
  /// "in-process" (the bus inside this process, which needs no daemon) or an address such as "unix:path=/run/bus" or
  /// "unixexec:path=..." (see docs/wire-format.md); several addresses with ';' between them are tried in turn. Raises
  /// InvalidArgument for anything else.
  static Shared::Pointer<Connection> open(const std::string& where);
  /// The connection of every bus object that you give none: the one that `setDefault` has set, else the one that the
  /// environment variable HEVRA_BUS names, else the system bus. Raises InvalidArgument if HEVRA_BUS names no such
  /// place. If the process got higher privileges when it was started (set-user-ID, set-group-ID, file capabilities), it
  /// ignores HEVRA_BUS, DBUS_SYSTEM_BUS_ADDRESS and DBUS_SESSION_BUS_ADDRESS.
  static Shared::Pointer<Connection> getDefault();
  static void setDefault(Shared::Pointer<Connection> connection);

  /// For `open` only, which makes connections.
  explicit Connection(std::shared_ptr<Internal::Client> client);
  ~Connection();
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  /// From now on the connection reads and connects again within `dispatch` of this dispatcher, and not on a thread. The
  /// process's default dispatcher does the same. Does nothing if the connection has a thread or a dispatcher already,
  /// so call it before anything is started on the connection. A bus object that has a dispatcher gives it to its
  /// connection.
  void setDispatcher(Dispatcher& dispatcher);

  /// How large a message may be, in bytes with its header, unless `setLargestMessage` says otherwise.
  static constexpr std::size_t LARGEST_CALL = Message::LARGEST_CALL;
  static constexpr std::size_t LARGEST_REPLY = Message::LARGEST_REPLY;
  static constexpr std::size_t LEAST_LARGEST_MESSAGE = Message::LEAST_LARGEST_MESSAGE;

  /// Sets how large messages from the bus may be, in bytes with their header: calls and signals, and replies to this
  /// connection's calls. A reply that no call waits for counts as a call. A larger message, or one for which there is
  /// no memory, is read and discarded. If it is a call, it is answered with the error
  /// "org.freedesktop.DBus.Error.LimitsExceeded"; if it is a reply, its call ends with that error; if it is a signal, a
  /// log line counts it, at most once a second. A monitor takes messages of any size. Raises InvalidArgument for less
  /// than LEAST_LARGEST_MESSAGE.
  void setLargestMessage(std::size_t callsAndSignals, std::size_t replies);

  /// Sends the call to its own path and destination, and waits for the reply or the call's time-out. If something goes
  /// wrong on the way, the reply is an error. If the message must not be sent, raises InvalidArgument or
  /// UnusableMessage. For a call that expects no reply, returns an empty one as soon as it is sent.
  Message::SendReturn call(Message::Method::Call& call);
  /// Sends the call without waiting. The handler runs once, on a task of the connection; its result returns or raises
  /// what `call` does. See Object::Proxy::sendAsync for the rest; after the connection's destructor no handler is
  /// called.
  PendingCall callAsync(Message::Method::Call call, Handler<Message::SendReturn> handler);
  std::future<Message::SendReturn> callAsync(Message::Method::Call call);
  /// How many calls may be on the bus at the same time, without a reply so far. Further calls wait in the process, in
  /// the order in which they are made; their time-outs count from the call. dbus-daemon's usual system bus refuses more
  /// than 128. Raises InvalidArgument for 0.
  static constexpr std::size_t LARGEST_WINDOW = 100;
  void setLargestWindow(std::size_t calls);

  /// What the connection has done so far.
  Counters getCounters() const;

  /// Sends a signal, or a reply, and returns when it is on its way. Logs a failure.
  void send(Message::Signal& signal);
  void send(Message::Method::Return& reply);

  /// From now on the connection answers calls even if nothing was ever started. Call it before you send a message that
  /// tells a peer to call an object on this connection. If there is no thread for it, the connection logs a warning and
  /// answers calls only while a call of its own waits.
  void expectCalls();

  /// Owns the bus name from now on, also on later links. If another connection has taken the name meanwhile, that is
  /// logged, and the name comes back when that one gives it up. Start the served objects first. Raises StartFailed if
  /// the bus is not there or forbids it, or if another connection has the name.
  void requestName(const std::string& name);
  void releaseName(const std::string& name);
  /// Turns this connection into a monitor: the bus shows it the messages between others that the match rules pick, or
  /// all without a rule. Only the Trace sees them. From now on the connection is good for nothing else, until the link
  /// is lost; then it is an ordinary connection again. Throws the bus's error reply; a system bus allows only root to
  /// do it.
  void becomeMonitor(const std::vector<std::string>& rules);
  /// The unique name of the connection that owns `name`; empty if nobody does. Throws an error reply of the bus.
  std::string getNameOwner(const std::string& name);
  /// This connection's unique name. Connects first if it is not connected. Throws as getNameOwner does.
  std::string getUniqueName();

  Internal::Client& client() const noexcept { return *client_; }

 private:
  std::shared_ptr<Internal::Client> client_;
  std::unique_ptr<Internal::ReplyTask> replies_;
};

}  // namespace Quarnix::Bus
