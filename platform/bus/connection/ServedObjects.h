// The objects of this process that are started: those that hear signals, and those that are served.
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/Receiver.h>
#include <platform/bus/connection/Owners.h>
#include <platform/bus/connection/Transport.h>
#include <platform/bus/message/method/Call.h>
#include <platform/bus/message/method/Return.h>

namespace Quarnix::Bus::Internal {

/// Signals go to the subscriptions of their path, and count only from the connection that owns the subscription's host:
/// nobody else speaks for the object, whatever a match rule lets through. A call goes to the object that is served at
/// its path. The standard interfaces are answered without the object (StandardInterfaces).
///
/// Threads: the connection's mutex guards it, and is held by every caller.
class ServedObjects {
 public:
  struct Subscription {
    Receiver* receiver;
    Host* host;
    std::string path;
  };
  struct Served {
    Receiver* receiver;
    const char* description;  // for Introspectable
    Host* caller = nullptr;   // whose owner alone may call it; null for everybody
  };

  bool isEmpty() const noexcept { return subscriptions_.empty() && served_.empty(); }

  /// `subscribe` raises std::bad_alloc; `unsubscribe` returns the subscription that it has taken out, if there is one.
  bool isSubscribed(const Receiver& receiver) const noexcept;
  void subscribe(Subscription subscription);
  std::optional<Subscription> unsubscribe(const Receiver& receiver) noexcept;
  const std::vector<Subscription>& subscriptions() const noexcept { return subscriptions_; }
  static std::string matchRule(const Subscription& subscription);

  /// The object that is served at the path; null where there is none.
  Served* find(std::string_view path) noexcept;
  Served& serve(const std::string& path, Served served);
  void withdraw(const std::string& path) noexcept;

  void deliverSignal(const Received& signal);
  /// Delivers a call, or returns why it is refused.
  std::optional<Message::Method::Return> deliverCall(Received call);
  /// The description of a served object, or of a path above served objects; empty where there is neither.
  std::string describe(const std::string& path) const;

 private:
  std::vector<Subscription> subscriptions_;
  std::map<std::string, Served, std::less<>> served_;
};

}  // namespace Quarnix::Bus::Internal
