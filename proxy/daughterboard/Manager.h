// The local stand-in for the stack service's daughter board manager.
#pragma once

#include <string>

#include <platform/bus/object/Proxy.h>
#include <platform/hevra/interface/daughterboard/Manager.h>

namespace Quarnix::Hevra::Proxy::DaughterBoard {

/// Asks the stack service to reset the radio daughter board. Needs no `start`.
///
/// Threads: any number at once; a call waits for its own reply.
class HEVRA_EXPORT Manager : public virtual Bus::Object::Proxy, public virtual Interface::DaughterBoard::Manager {
 public:
  Manager();
  ~Manager() override;

  /// True when the service says that the reset was carried out. Throws the service's error reply, or that of a failure
  /// on the way, as a Bus::Message::Method::Return; Bus::TypeMismatch or Bus::EndOfContainer for a reply without a
  /// boolean. Waits the bus library's default time at most.
  bool hardReset() override;

 private:
  std::string interfaceName;  // constant after construction
};

}  // namespace Quarnix::Hevra::Proxy::DaughterBoard
