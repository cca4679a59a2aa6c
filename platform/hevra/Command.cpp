// Writes a command as a text for logs, and refuses an Acei that is out of range.
#include <platform/hevra/Command.h>

#include <cinttypes>
#include <cstdio>
#include <stdexcept>

#include <platform/hevra/internal/StatusName.h>

namespace Quarnix::Hevra {

std::string Command::toString() const {
  char text[128];
  std::snprintf(text, sizeof text, "#%" PRIu32 " (node = %" PRIx32 " / parameter = %" PRIx64 " / status = %s)", id_,
                address_, parameterId_, nameOf(status_).c_str());
  return text;
}

void Command::Acei::refuse(unsigned level, unsigned service, unsigned information) {
  throw std::out_of_range("Acei(" + std::to_string(level) + ", " + std::to_string(service) + ", " +
                          std::to_string(information) + "): expected at most (7, 3, 7)");
}

}  // namespace Quarnix::Hevra
