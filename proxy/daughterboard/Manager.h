// Stands for the stack service's daughter board manager.
#pragma once

#include <string>

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
  /// without a boolean. Waits at most for Bus::Message::Method::Call::DEFAULT_TIMEOUT.
  bool hardReset() override;

 private:
  std::string interfaceName;  // constant after construction
};

}  // namespace Quarnix::Hevra::Proxy::DaughterBoard
