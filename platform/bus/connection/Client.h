// The upper half of a connection: its names, its subscriptions and its objects.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/connection/Exchange.h>
#include <platform/bus/connection/Observers.h>
#include <platform/bus/connection/OwnNames.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/ServedObjects.h>
#include <platform/bus/message/Signal.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

/// A client of one bus: it asks the bus for what an application wants, and hands on what arrives. Exchange, the lower
/// half, sends and reads. Connection is the public face of both.
///
/// It has more than 25 operations, because it has one for each operation of Connection, the proxies, the servers and
/// the observers that needs the bus. Each uses these parts:
///
///   Owners         knows who owns the services' names; decides whose replies and signals count
///   ServedObjects  knows the started objects; every signal and every call goes there
///   Observers      knows who wants to hear that the link and the services come and go
///   OwnNames       knows which names this connection owns
///
/// When a new link comes up, `tell` first tells the bus again what each part wants of it.
///
/// Threads: any. In a forked child, operations that use the bus raise UnusableMessage, and operations that end
/// something do nothing.
class Client : public Exchange {
 public:
  using Exchange::Exchange;
  ~Client() override;

  /// Sends the call to `path` and `host`, unless it names its own, and waits for the reply. Raises what sealing raises.
  Message::SendReturn call(Message::Method::Call& call, std::string_view path, Host* host) HEVRA_EXCLUDES(mutex_);
  /// Sends a signal and waits until it is on its way. Logs a failure.
  void send(Message::Signal& signal) HEVRA_EXCLUDES(mutex_);
  /// Does the same with a reply. Without a link the reply is dropped, because its caller is not on the next link.
  void send(Message::Method::Return& reply) HEVRA_EXCLUDES(mutex_);

  /// One more user of the name, whose owner the connection knows from now on; and one less. Raises InvalidArgument for
  /// what is no bus name.
  Host* watch(const std::string& name) HEVRA_EXCLUDES(mutex_);
  void unwatch(Host* host) noexcept HEVRA_EXCLUDES(mutex_);
  /// Object::Proxy describes these.
  bool isOwned(const Host& host) HEVRA_EXCLUDES(mutex_);
  bool awaitOwner(const Host& host, const Time::Monotonic& deadline) HEVRA_EXCLUDES(mutex_);
  std::uint64_t generation(const Host& host) HEVRA_EXCLUDES(mutex_);
  std::uint64_t generation(const Host& host, std::string_view owner) HEVRA_EXCLUDES(mutex_);

  /// Delivers to the receiver the signals that the host's owner sends from `path`.
  void subscribe(Receiver& receiver, Host& host, const std::string& path, bool wait) HEVRA_EXCLUDES(mutex_);
  void unsubscribe(Receiver& receiver) HEVRA_EXCLUDES(mutex_);
  /// Delivers to the receiver the calls to `path`. `caller`: only the owner of this name may call; empty for everybody.
  void serve(Receiver& receiver, const std::string& path, const char* description, const std::string& caller, bool wait)
      HEVRA_EXCLUDES(mutex_);
  void withdraw(Receiver& receiver, const std::string& path) HEVRA_EXCLUDES(mutex_);

  /// Connection describes it. When calls are answered already, it locks nothing.
  void expectCalls() HEVRA_EXCLUDES(mutex_);

  void observe(ObserverTask& observer, const std::vector<std::string>& services) HEVRA_EXCLUDES(mutex_);
  void unobserve(ObserverTask& observer) HEVRA_EXCLUDES(mutex_);
  /// The next change that the observer does not know; NONE if it knows everything or is not started.
  Change nextChange(const ObserverTask& observer) HEVRA_EXCLUDES(mutex_);

  void requestName(const std::string& name) HEVRA_EXCLUDES(mutex_);
  void releaseName(const std::string& name) HEVRA_EXCLUDES(mutex_);
  std::string uniqueName() HEVRA_EXCLUDES(mutex_);
  /// Sends this call, which asks the bus for it. Throws an error reply.
  void becomeMonitor(Message::Method::Call& call) HEVRA_EXCLUDES(mutex_);

 private:
  void linkUp() HEVRA_REQUIRES(mutex_) override;
  void linkFailed() noexcept HEVRA_REQUIRES(mutex_) override;
  void linkLost() noexcept HEVRA_REQUIRES(mutex_) override;
  void tell() HEVRA_REQUIRES(mutex_) override;
  void signalArrived(const Received& signal) HEVRA_REQUIRES(mutex_) override;
  void callArrived(Received call) HEVRA_REQUIRES(mutex_) override;
  bool isListenerNeeded() const HEVRA_REQUIRES(mutex_) override;

  Message::Method::Return ask(Message::Method::Call call, const Time::Monotonic& deadline) HEVRA_REQUIRES(mutex_);
  bool readsAtOnce() const HEVRA_REQUIRES(mutex_);

  Observers observers_ HEVRA_GUARDED_BY(mutex_);
  Owners owners_ HEVRA_GUARDED_BY(mutex_){*this, calls_, reader_, link_, observers_};
  ServedObjects objects_ HEVRA_GUARDED_BY(mutex_);
  OwnNames names_ HEVRA_GUARDED_BY(mutex_){*this, reports_};
  bool areCallsExpected_ HEVRA_GUARDED_BY(mutex_) = false;  // a peer has had a reason to call
  std::atomic<bool> answersCalls_{false};                   // and a thread reads what it calls; never false again
};

}  // namespace Quarnix::Bus::Internal
