// The heart of a connection: a client of one bus, with its names, its subscriptions and its objects.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/connection/Exchange.h>
#include <platform/bus/connection/Observers.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/ServedObjects.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

/// The upper half of a connection: what a client wants of its bus, and what arrives from there. Exchange, the lower
/// half, sends and reads. Connection is the public face of both.
///
/// Its operations are those of Connection, the proxies, the servers and the observers, one for one; this is why there
/// are so many. Each brings together the parts:
///
///   Owners         who owns the services' names; decides whose replies and signals count
///   ServedObjects  the started objects; every signal and every call goes there
///   Observers      who is told that the link and the services come and go
///
/// After a loss of the link, `linkUp` tells the bus everything again that the parts want of it, before anything else is
/// sent.
///
/// Threads: any. In a forked child everything that uses the bus raises UnusableMessage, and everything that ends does
/// nothing.
class Client : public Exchange {
 public:
  using Exchange::Exchange;
  ~Client() override;

  /// Sends to `path` and `host`, where given, and waits for the reply. Raises what sealing the message raises.
  Message::Method::Return call(Message::Method::Call& call, std::string_view path, Host* host) HEVRA_EXCLUDES(mutex_);
  /// Sends a signal, and waits until it is on its way; a failure is logged.
  void send(Message::Signal& signal) HEVRA_EXCLUDES(mutex_);
  /// The same for a reply; without a link it is dropped, because the caller is not on the next one.
  void send(Message::Method::Return& reply) HEVRA_EXCLUDES(mutex_);

  Host* watch(const std::string& name) HEVRA_EXCLUDES(mutex_);
  void unwatch(Host* host) noexcept HEVRA_EXCLUDES(mutex_);
  /// See Object::Proxy.
  bool isOwned(const Host& host) HEVRA_EXCLUDES(mutex_);
  bool awaitOwner(const Host& host, const Time::Monotonic& deadline) HEVRA_EXCLUDES(mutex_);
  std::uint64_t generation(const Host& host) HEVRA_EXCLUDES(mutex_);
  std::uint64_t generation(const Host& host, std::string_view owner) HEVRA_EXCLUDES(mutex_);

  /// Delivers the signals that the host's owner sends from `path`.
  void subscribe(Receiver& receiver, Host& host, const std::string& path, bool wait) HEVRA_EXCLUDES(mutex_);
  void unsubscribe(Receiver& receiver) HEVRA_EXCLUDES(mutex_);
  /// Delivers the calls to `path`. `caller`: the name whose owner alone may call; everybody when empty.
  void serve(Receiver& receiver, const std::string& path, const char* description, const std::string& caller, bool wait)
      HEVRA_EXCLUDES(mutex_);
  void withdraw(Receiver& receiver, const std::string& path) HEVRA_EXCLUDES(mutex_);

  /// See Connection::expectCalls.
  void expectCalls() HEVRA_EXCLUDES(mutex_);

  void observe(ObserverTask& observer, const std::vector<std::string>& services) HEVRA_EXCLUDES(mutex_);
  void unobserve(ObserverTask& observer) HEVRA_EXCLUDES(mutex_);
  /// What a started observer is to be told next; nothing when it knows everything, or is not started.
  Change nextChange(const ObserverTask& observer) HEVRA_EXCLUDES(mutex_);

  void requestName(const std::string& name) HEVRA_EXCLUDES(mutex_);
  void releaseName(const std::string& name) HEVRA_EXCLUDES(mutex_);
  std::string uniqueName() HEVRA_EXCLUDES(mutex_);
  /// Sends the call that asks for it; throws an error reply.
  void becomeMonitor(Message::Method::Call& call) HEVRA_EXCLUDES(mutex_);

 private:
  void linkUp() HEVRA_REQUIRES(mutex_) override;
  void linkLost() noexcept HEVRA_REQUIRES(mutex_) override;
  void signalArrived(const Received& signal) HEVRA_REQUIRES(mutex_) override;
  void callArrived(Received call) HEVRA_REQUIRES(mutex_) override;
  bool isMonitor() const HEVRA_REQUIRES(mutex_) override { return isMonitor_; }
  bool isListenerNeeded() const HEVRA_REQUIRES(mutex_) override;

  Message::Method::Return ask(Message::Method::Call call, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  bool hears() const HEVRA_REQUIRES(mutex_);
  void askForNameAgain(const std::string& name) HEVRA_REQUIRES(mutex_);
  void forgetServed(const std::string& path) noexcept HEVRA_REQUIRES(mutex_);

  Observers observers_ HEVRA_GUARDED_BY(mutex_);
  Owners owners_ HEVRA_GUARDED_BY(mutex_){*this, calls_, reader_, observers_};
  ServedObjects objects_ HEVRA_GUARDED_BY(mutex_);
  std::vector<std::string> names_ HEVRA_GUARDED_BY(mutex_);  // that this connection owns
  bool areCallsExpected_ HEVRA_GUARDED_BY(mutex_) = false;   // a peer was once given a reason to call
  bool isMonitor_ HEVRA_GUARDED_BY(mutex_) = false;          // the bus takes nothing from a monitor
};

}  // namespace Quarnix::Bus::Internal
