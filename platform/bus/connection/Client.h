// The heart of a connection: what is pending, who owns which name, which objects are started, who reads and who writes.
// Connection is its public face; the transports are below it.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <platform/bus/connection/Address.h>
#include <platform/bus/connection/Observing.h>
#include <platform/bus/connection/Transport.h>
#include <platform/bus/message/SendReturn.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Object {
class Base;
class Proxy;
class Server;
}  // namespace Quarnix::Bus::Object

namespace Quarnix::Bus::Internal {

class Client;

/// A bus name that proxies talk to, and the connection that owns it now. Lives as long as its client.
struct Host {
  Client* client;
  std::string name;
  std::string owner;  // a unique name; empty when there is none or it is not known yet
  std::size_t users = 0;
  bool known = false;        // the bus has said who owns it, on the link that is up
  std::uint64_t losses = 0;  // how often an owner gave it up, or the link was lost
};

/// One message on its way: waiting to be written, and for a call waiting for its reply. Shared between the waiting
/// thread and the connection, so that neither outlives what it uses.
struct Pending {
  std::uint32_t serial = 0;
  bool replyExpected = false;
  Host* host = nullptr;             // whose owner's reply counts; null when `owner` is fixed
  std::string owner;                // the unique name that the call went to; empty until one is known
  std::vector<std::string> former;  // earlier owners of the host's name that the call may have gone to instead
  std::uint64_t settledAt = 0;      // the first read that brings nothing older than the call; 0 until it has left
  bool writing = false;             // a thread is in the transport with it
  bool accepted = false;            // at least a byte has left
  bool done = false;
  bool lost = false;     // with the link, after a byte had left
  bool retry = false;    // the link broke before a byte left: may go out on the next one
  bool waiting = false;  // a thread waits on `changed`
  Pending* nextWaiter = nullptr;
  std::shared_ptr<Pending> nextAnswered;
  std::optional<Message::Method::Return> reply;
  std::function<void(const Message::Method::Return&)>
      handler;  // of the connection's own calls, run with its mutex held
  ConditionVariable changed;

  bool isFormer(std::string_view unique) const noexcept {
    return std::find(former.begin(), former.end(), unique) != former.end();
  }
  /// Whether nobody but this owner can have the call.
  bool isHeldBy(std::string_view unique) const noexcept {
    return owner == unique || (owner.empty() && isFormer(unique));
  }
};

/// Threads: everything is guarded by one mutex, which is held neither while a transport reads, writes or waits nor
/// while anybody else's code runs.
///
/// Waiting for a reply costs no thread: the caller that finds nobody reading takes the reader's role, polls and reads
/// the socket itself and hands out what arrives, and passes the role on when it leaves. While objects are started a
/// background thread takes the role whenever nobody else has it; it sleeps in an epoll set in which callers disarm and
/// arm the socket, so that their traffic does not wake it.
class Client : public std::enable_shared_from_this<Client> {
 public:
  /// How many calls may wait for a reply at once.
  static constexpr std::size_t MAXIMUM_OUTSTANDING_CALLS = 65536;
  /// How much the connection's own answers may pile up for a bus that does not read; beyond it they are dropped.
  static constexpr std::size_t MAXIMUM_UNSENT_ANSWERS = std::size_t{16} << 20;
  /// The pauses between attempts to reach a bus that is gone: growing from the first to the last, with jitter.
  static constexpr Time::Elapsed FIRST_PAUSE{0, 50'000'000};
  static constexpr Time::Elapsed LAST_PAUSE{5, 0};

  /// Without addresses it is a client of the in-process bus.
  explicit Client(std::vector<Address> addresses);
  virtual ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// Sends to `path` and `host`, where given, and waits. Raises what sealing the message raises.
  Message::Method::Return call(Message::Method::Call& call, std::string_view path, Host* host) HEVRA_EXCLUDES(mutex_);
  /// Sends a signal, and waits until it is on its way; a failure is logged.
  void send(Message::Signal& signal) HEVRA_EXCLUDES(mutex_);
  /// The same for a reply; without a link it is dropped, because whoever waited for it is not on the next one.
  void send(Message::Method::Return& reply) HEVRA_EXCLUDES(mutex_);

  Host* watch(const std::string& name) HEVRA_EXCLUDES(mutex_);
  void unwatch(Host* host) noexcept HEVRA_EXCLUDES(mutex_);

  /// Whether the host's name is owned, as far as the bus can be asked.
  bool isOwned(const Host& host) HEVRA_EXCLUDES(mutex_);
  /// True as soon as it is, false at the deadline.
  bool awaitOwner(const Host& host, const Time::Monotonic& deadline) HEVRA_EXCLUDES(mutex_);
  /// See Object::Proxy::getTenure.
  std::uint64_t tenure(const Host& host) HEVRA_EXCLUDES(mutex_);
  std::uint64_t tenure(const Host& host, std::string_view owner) HEVRA_EXCLUDES(mutex_);

  void start(Object::Proxy& proxy, Host* host, bool wait) HEVRA_EXCLUDES(mutex_);
  /// `caller`: the name whose owner alone may call it; everybody when empty.
  void start(Object::Server& server, const std::string& caller, bool wait) HEVRA_EXCLUDES(mutex_);
  void stop(Object::Proxy& proxy) HEVRA_EXCLUDES(mutex_);
  void stop(Object::Server& server) HEVRA_EXCLUDES(mutex_);

  void start(ConnectionObserver& observer, const std::vector<std::string>& services) HEVRA_EXCLUDES(mutex_);
  void stop(ConnectionObserver& observer) HEVRA_EXCLUDES(mutex_);
  /// What a started observer is to be told next; nothing when it knows everything, or is not started.
  Change nextChange(const ConnectionObserver& observer) HEVRA_EXCLUDES(mutex_);

  void requestName(const std::string& name) HEVRA_EXCLUDES(mutex_);
  void releaseName(const std::string& name) HEVRA_EXCLUDES(mutex_);
  std::string uniqueName() HEVRA_EXCLUDES(mutex_);
  /// Sends the call that asks for it; throws an error reply.
  void becomeMonitor(Message::Method::Call& call) HEVRA_EXCLUDES(mutex_);

  /// The last user has gone: breaks the link and lets the background thread end.
  void close() noexcept HEVRA_EXCLUDES(mutex_);

  /// From the in-process bus: a message has arrived; a connection has gone. They do not call back into the bus; what
  /// they have to answer goes out with `flushAnswers`.
  void incoming(Received message) HEVRA_EXCLUDES(mutex_);
  void peerVanished(const std::string& uniqueName) HEVRA_EXCLUDES(mutex_);
  void flushAnswers() HEVRA_EXCLUDES(mutex_);

 protected:
  /// A link to the bus. Throws what went wrong as an error reply.
  virtual std::shared_ptr<Transport> openLink(const Time::Monotonic& deadline);

 private:
  enum class State { DISCONNECTED, CONNECTING, CONNECTED };
  struct Outgoing {
    Message::Frame frame;
    std::shared_ptr<Pending> pending;  // null for the connection's own answers
  };
  struct StartedProxy {
    Object::Proxy* proxy;
    Host* host;
  };
  struct StartedServer {
    Object::Server* server;
    Host* caller;  // whose owner alone may call it; null for everybody
  };

  // Link.cpp: connecting, losing the link, the background thread.
  std::optional<Message::Method::Return> connect(const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  bool adopt(const std::shared_ptr<Transport>& transport) HEVRA_REQUIRES(mutex_);
  void lose(std::string reason) noexcept HEVRA_REQUIRES(mutex_);
  void loseOne(Pending& pending) noexcept HEVRA_REQUIRES(mutex_);
  Message::Method::Return lossError() const HEVRA_REQUIRES(mutex_);
  bool isSameProcess() const noexcept;
  void requireSameProcess() const;
  void keepInBackground() HEVRA_REQUIRES(mutex_);
  void wakeBackground() noexcept HEVRA_REQUIRES(mutex_);
  bool background() HEVRA_EXCLUDES(mutex_);
  bool isListenerNeeded() const HEVRA_REQUIRES(mutex_);
  void listen() HEVRA_EXCLUDES(mutex_);
  void readOnce(const std::shared_ptr<Transport>& transport) HEVRA_REQUIRES(mutex_);
  static void* backgroundThread(void* client);
  void reportUnlocked() HEVRA_REQUIRES(mutex_);
  void report() noexcept HEVRA_EXCLUDES(mutex_);

  // Exchange.cpp: sending, waiting, the roles of reader and writer.
  void submit(Message::Base& message, const Message::Base::Route& route, const std::shared_ptr<Pending>& pending)
      HEVRA_REQUIRES(mutex_);
  std::string sendAndWait(Message::Base& message, bool reconnect) HEVRA_EXCLUDES(mutex_);
  void flush() HEVRA_REQUIRES(mutex_);
  void await(Pending& pending, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  void exchange(Pending& pending, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  bool read(Transport& transport, std::string& reason) noexcept HEVRA_EXCLUDES(mutex_);
  void readUntil(Pending& pending, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  void wakeReader() noexcept HEVRA_REQUIRES(mutex_);
  void withdraw(const std::shared_ptr<Pending>& pending) HEVRA_REQUIRES(mutex_);
  void passOn() HEVRA_REQUIRES(mutex_);
  void arm(std::uint32_t events) noexcept HEVRA_REQUIRES(mutex_);
  void finish(Pending& pending) HEVRA_REQUIRES(mutex_);
  std::uint32_t nextSerial() noexcept HEVRA_REQUIRES(mutex_);

  // Dispatch.cpp: what arrives.
  void dispatchAll(std::vector<Received>& messages) HEVRA_REQUIRES(mutex_);
  void dispatchOrDrop(Received& message) HEVRA_REQUIRES(mutex_);
  void wakeAnswered() HEVRA_REQUIRES(mutex_);
  void dispatch(Received& message) HEVRA_REQUIRES(mutex_);
  void dispatchReply(Received& message) HEVRA_REQUIRES(mutex_);
  void dispatchSignal(Received& message) HEVRA_REQUIRES(mutex_);
  void dispatchCall(Received& message) HEVRA_REQUIRES(mutex_);
  void answer(Message::Method::Return reply) HEVRA_REQUIRES(mutex_);
  void refuse(const Message::Method::Call& call, const char* errorName, const std::string& text) HEVRA_REQUIRES(mutex_);
  bool answerStandard(const Message::Method::Call& call) HEVRA_REQUIRES(mutex_);
  std::string describe(const std::string& path) const HEVRA_REQUIRES(mutex_);

  // Presence.cpp: who owns the services' names.
  void ownerChanged(const std::string& name, const std::string& before, const std::string& now) HEVRA_REQUIRES(mutex_);
  void ownerLearnt(Host& host, const std::string& owner) HEVRA_REQUIRES(mutex_);
  bool isUpToDate() const HEVRA_REQUIRES(mutex_);
  bool askWhetherOwned(const Host& host, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);

  // Subscriptions.cpp: names, match rules, started objects.
  Message::Method::Return call(Message::Method::Call& call, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  void callDriver(Message::Method::Call call, std::function<void(const Message::Method::Return&)> handler)
      HEVRA_REQUIRES(mutex_);
  Host& acquire(const std::string& name) HEVRA_REQUIRES(mutex_);
  void release(Host& host) noexcept HEVRA_REQUIRES(mutex_);
  void subscribe(Host& host) HEVRA_REQUIRES(mutex_);
  void restore() HEVRA_REQUIRES(mutex_);
  void askForNameAgain(const std::string& name) HEVRA_REQUIRES(mutex_);
  static std::string ownerRule(const std::string& name);
  static std::string signalRule(const Object::Proxy& proxy, const Host& host);

  // Observers.cpp: who is told that the link and the services come and go.
  std::vector<Observing>::iterator find(const ConnectionObserver& observer) HEVRA_REQUIRES(mutex_);
  void forget(std::vector<Observing>::iterator entry) HEVRA_REQUIRES(mutex_);
  void notifyObservers() noexcept HEVRA_REQUIRES(mutex_);

  // Constant after construction.
  const std::vector<Address> addresses_;
  const unsigned forks_;

  Mutex mutex_;
  State state_ HEVRA_GUARDED_BY(mutex_) = State::DISCONNECTED;
  bool closed_ HEVRA_GUARDED_BY(mutex_) = false;
  std::shared_ptr<Transport> transport_ HEVRA_GUARDED_BY(mutex_);  // null unless connected
  std::string uniqueName_ HEVRA_GUARDED_BY(mutex_);
  std::uint64_t links_ HEVRA_GUARDED_BY(mutex_) = 0;  // how many there were
  std::string lossReason_ HEVRA_GUARDED_BY(mutex_) = "it was not reached yet";
  ConditionVariable stateChanged_;
  std::uint64_t attempts_ HEVRA_GUARDED_BY(mutex_) = 0;
  std::optional<Message::Method::Return> lastFailure_ HEVRA_GUARDED_BY(mutex_);
  bool monitors_ HEVRA_GUARDED_BY(mutex_) = false;  // what goes between others; the bus takes nothing from it then
  bool lossUnreported_ HEVRA_GUARDED_BY(mutex_) = false;

  std::uint32_t serial_ HEVRA_GUARDED_BY(mutex_) = 1;
  std::unordered_map<std::uint32_t, std::shared_ptr<Pending>> pending_ HEVRA_GUARDED_BY(mutex_);
  Pending* waiters_ HEVRA_GUARDED_BY(mutex_) = nullptr;         // threads that wait on their `changed`
  std::shared_ptr<Pending> answered_ HEVRA_GUARDED_BY(mutex_);  // those of them that are still to be woken
  std::deque<Outgoing> outgoing_ HEVRA_GUARDED_BY(mutex_);
  std::size_t outgoingOffset_ HEVRA_GUARDED_BY(mutex_) = 0;  // how much of the first has left
  std::size_t unsentAnswers_ HEVRA_GUARDED_BY(mutex_) = 0;   // bytes
  bool reading_ HEVRA_GUARDED_BY(mutex_) = false;
  bool writing_ HEVRA_GUARDED_BY(mutex_) = false;
  const Pending* reader_ HEVRA_GUARDED_BY(mutex_) = nullptr;  // what the thread waits for that is polling, if any
  bool readerWrites_ HEVRA_GUARDED_BY(mutex_) = false;        // it polls for writing, too
  int readerWake_ HEVRA_GUARDED_BY(mutex_) = -1;              // ends its poll
  std::uint64_t reads_ HEVRA_GUARDED_BY(mutex_) = 1;          // how many have begun; one goes on until nothing is left
  std::vector<Received> arrived_;                             // the reader's

  std::map<std::string, Host, std::less<>> hosts_ HEVRA_GUARDED_BY(mutex_);
  std::vector<StartedProxy> proxies_ HEVRA_GUARDED_BY(mutex_);
  std::map<std::string, StartedServer, std::less<>> servers_ HEVRA_GUARDED_BY(mutex_);
  std::vector<std::string> names_ HEVRA_GUARDED_BY(mutex_);
  std::vector<Observing> observers_ HEVRA_GUARDED_BY(mutex_);
  unsigned awaitingOwners_ HEVRA_GUARDED_BY(mutex_) = 0;  // threads
  ConditionVariable ownersChanged_;

  int epoll_ HEVRA_GUARDED_BY(mutex_) = -1;  // of the background thread, with the socket and `wake_` in it
  int wake_ HEVRA_GUARDED_BY(mutex_) = -1;
  bool backgroundRuns_ HEVRA_GUARDED_BY(mutex_) = false;
  bool backgroundParked_ HEVRA_GUARDED_BY(mutex_) = false;
  std::uint32_t armed_ HEVRA_GUARDED_BY(mutex_) = 0;
  std::weak_ptr<Transport> watched_ HEVRA_GUARDED_BY(mutex_);  // which link's socket is in the epoll set
  ConditionVariable backgroundChanged_;

  std::atomic<unsigned> dropped_{0};                            // messages given up since the last report
  std::vector<std::string> warnings_ HEVRA_GUARDED_BY(mutex_);  // to be logged with the mutex free
};

}  // namespace Quarnix::Bus::Internal
