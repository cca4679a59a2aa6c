// The interface of an object that looks after the radio daughter board, in this process or in another.
#pragma once

#include <platform/core/Export.h>

namespace Quarnix::Hevra::Interface::DaughterBoard {

class HEVRA_EXPORT Manager {
 public:
  virtual ~Manager();

  /// Resets the radio hardware. Returns true when that is done.
  virtual bool hardReset() = 0;

 protected:
  Manager() = default;
  Manager(const Manager&) = default;
  Manager& operator=(const Manager&) = default;
};

}  // namespace Quarnix::Hevra::Interface::DaughterBoard
