// The started objects of this process: proxies that hear signals, and objects that are served.
#pragma once

#include <cstddef>
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

/// A signal goes to the subscriptions of its path. It counts only from the connection that owns the subscription's
/// host; a match rule may let others through, but they do not speak for the object. A call goes to the object that is
/// served at its path. The standard interfaces are answered without the object (StandardInterfaces).
///
/// Threads: the connection's mutex guards it, and every caller holds it.
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
    Host* caller = nullptr;   // only the owner of this name may call it; null for everybody
  };

  bool isEmpty() const noexcept { return subscriptions_.empty() && served_.empty(); }

  /// `subscribe` raises std::bad_alloc. `unsubscribe` returns the subscription that it has taken out, if any.
  bool isSubscribed(const Receiver& receiver) const noexcept;
  void subscribe(Subscription subscription);
  std::optional<Subscription> unsubscribe(const Receiver& receiver) noexcept;
  const std::vector<Subscription>& subscriptions() const noexcept { return subscriptions_; }
  static std::string matchRule(const Subscription& subscription);

  /// The object that is served at the path; null for none.
  Served* find(std::string_view path) noexcept;
  Served& serve(const std::string& path, Served served);
  /// Takes the object out, if it is this one that is served at the path, and releases its caller.
  void withdraw(const Receiver& receiver, const std::string& path, Owners& owners) noexcept;

  /// Returns how many signals were dropped because an object is too slow.
  std::size_t deliverSignal(const Received& signal);
  /// Delivers a call, or returns the error with which it is refused.
  std::optional<Message::Method::Return> deliverCall(Received call);
  /// The description of a served object, or of a path above served objects; empty for any other path.
  std::string describe(const std::string& path) const;

 private:
  std::vector<Subscription> subscriptions_;
  std::map<std::string, Served, std::less<>> served_;
};

}  // namespace Quarnix::Bus::Internal
