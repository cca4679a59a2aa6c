// Stands for the stack service's daughter board manager.
#pragma once

#include <future>
#include <string>
#include <utility>

#include <platform/bus/object/Proxy.h>
#include <platform/hevra/interface/daughterboard/Manager.h>

namespace Quarnix::Hevra::Proxy::DaughterBoard {

/// It asks the stack service to reset the radio daughter board. It needs no `start`.
///
/// Threads: any number at once; a call waits for its own reply.
class HEVRA_EXPORT Manager : public virtual Bus::Object::Proxy, public virtual Interface::DaughterBoard::Manager {
 public:
  Manager();
  ~Manager() override;

  /// Returns true if the service says that it has reset the board. Throws an error reply, of the service or for a
  /// failure on the way, as a Bus::Message::Method::Return; Bus::TypeMismatch or Bus::EndOfContainer for a reply
  /// without a boolean. Waits at most for Bus::Message::Method::Call::DEFAULT_TIMEOUT, unless `setTimeout` says
  /// otherwise.
  bool hardReset() override;
  /// Begins the same and returns at once. See Node::Manager for what the two forms promise.
  Bus::PendingCall hardResetAsync(Bus::Handler<bool> handler, const Time::Elapsed& timeout = {});
  std::future<bool> hardResetAsync(const Time::Elapsed& timeout = {}) {
    return Bus::futureOf<bool>([&](auto handler) { hardResetAsync(std::move(handler), timeout); });
  }

 private:
  HEVRA_INTERNAL Bus::Message::Method::Call resetCall() const;

  std::string interfaceName;  // constant after construction
};

}  // namespace Quarnix::Hevra::Proxy::DaughterBoard
