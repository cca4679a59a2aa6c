// A command's text for logs, and the refusal of an Acei that cannot be.
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
