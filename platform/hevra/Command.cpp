// Writes a command as a text for logs, and refuses an Acei that is out of range.
#include <platform/hevra/Command.h>

#include <cinttypes>
#include <cstdio>
#include <stdexcept>

namespace Quarnix::Hevra {

namespace {

constexpr const char* STATUS_NAMES[] = {"INITIALIZED", "TRANSMITTED", "IN_PROGRESS", "COMPLETED", "FAILED",
                                        "CANCELLED",   "DELAYED",     "TIMED_OUT",   "REJECTED"};

}  // namespace

std::string Command::toString() const {
  const auto status = static_cast<std::uint32_t>(status_);
  std::string name = status < std::size(STATUS_NAMES) ? STATUS_NAMES[status] : std::to_string(status);
  char text[128];
  std::snprintf(text, sizeof text, "#%" PRIu32 " (node = %" PRIx32 " / parameter = %" PRIx64 " / status = %s)", id_,
                address_, parameterId_, name.c_str());
  return text;
}

void Command::Acei::refuse(unsigned level, unsigned service, unsigned information) {
  throw std::out_of_range("Acei(" + std::to_string(level) + ", " + std::to_string(service) + ", " +
                          std::to_string(information) + "): expected at most (7, 3, 7)");
}

}  // namespace Quarnix::Hevra
