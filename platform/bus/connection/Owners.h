// Who owns the bus names that proxies talk to.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <platform/bus/connection/Calls.h>
#include <platform/bus/connection/Driver.h>
#include <platform/core/Mutex.h>
#include <platform/core/time/Monotonic.h>

namespace Quarnix::Bus::Internal {

class Client;
class Link;
class Observers;
class ReaderRole;

/// A bus name that proxies talk to, and the connection that owns it now.
struct Host {
  Client* client;
  std::string name;
  std::string owner = {};  // a unique name; empty if there is no owner or it is not known yet
  std::size_t users = 0;
  bool isKnown = false;          // the bus has named the owner on this link
  std::uint64_t generation = 1;  // grows when an owner loses the name, and when the link is lost
  std::uint64_t question = 0;    // the number of the last question about the owner
};

/// For each name in use, the connection asks the bus to announce changes of the owner, and then asks for the owner. The
/// bus answers in order. So no change between the two is missed, and the owner is known before the reply to a call that
/// was sent after the questions. Changes of the owner also decide about the calls in flight (see Calls).
///
/// The name that went out of use last stays known until another does. So proxies that come and go cost no questions,
/// and a connection that closes takes nothing back first.
///
/// Threads: the connection's mutex guards it, and every caller holds it.
class Owners {
 public:
  /// A thread that waits for an owner, or for the link. It reads meanwhile, as one that waits for a reply does: its
  /// transaction is over when one of the two has changed.
  class Wait {
   public:
    /// Raises std::bad_alloc.
    explicit Wait(Owners& owners);
    ~Wait();
    Wait(const Wait&) = delete;
    Wait& operator=(const Wait&) = delete;

    const std::shared_ptr<Transaction>& transaction() const noexcept { return transaction_; }

   private:
    Owners& owners_;
    Message::Method::Call none_;  // nothing is sent
    const std::shared_ptr<Transaction> transaction_;
  };

  Owners(DriverQueue& bus, Calls& calls, const ReaderRole& reader, const Link& link, Observers& observers) noexcept
      : bus_(bus), calls_(calls), reader_(reader), link_(link), observers_(observers) {}

  /// Adds a user of the name. The host stays at least until its last user has released it. Raises InvalidArgument for
  /// what is no bus name.
  Host& acquire(Client& client, const std::string& name);
  void release(Host& host) noexcept;

  /// The bus has announced that a name has gone from one owner to another. A text is empty for no owner.
  void changed(const std::string& name, const std::string& before, const std::string& now);
  /// Asks the bus about all names.
  void tell();
  /// Ends the waits: the link has come up or gone.
  void endWaits() noexcept;
  /// What was assumed of a link that did not come up is void.
  void forget() noexcept;
  void linkLost() noexcept;

  /// The match rule for the announcements about a name.
  static std::string matchRule(const std::string& name);

 private:
  void ask(Host& host);
  void learn(Host& host, const std::string& owner);
  std::uint64_t moment() const noexcept;
  void dropUnused() noexcept;

  DriverQueue& bus_;
  Calls& calls_;
  const ReaderRole& reader_;
  const Link& link_;
  Observers& observers_;
  std::map<std::string, Host, std::less<>> hosts_;
  Host* unused_ = nullptr;  // the one without users, if there is one
  std::uint64_t questions_ = 0;
  std::vector<Wait*> waits_;
};

}  // namespace Quarnix::Bus::Internal
