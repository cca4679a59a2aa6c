// The key functions of the abstract interfaces.
#include <platform/hevra/interface/command/Manager.h>
#include <platform/hevra/interface/command/Originator.h>
#include <platform/hevra/interface/daughterboard/Manager.h>

namespace Quarnix::Hevra::Interface {

Command::Originator::~Originator() = default;
Command::Manager::~Manager() = default;
DaughterBoard::Manager::~Manager() = default;

}  // namespace Quarnix::Hevra::Interface
