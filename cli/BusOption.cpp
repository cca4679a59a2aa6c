// Chooses between the option, the environment and the system bus.
#include <cli/BusOption.h>

#include <cstdlib>

#include <json/Malformed.h>

namespace Quarnix::Hevra::Cli {

using Json::Malformed;

Shared::Pointer<Bus::Connection> openBus(const std::string& where) {
  const char* const environment = ::secure_getenv("HEVRA_BUS");
  const std::string place = !where.empty() ? where : environment && *environment ? environment : "system";
  try {
    return Bus::Connection::open(place);
  } catch (const Bus::InvalidArgument& error) {
    // When a well-known bus cannot be found, the command line is not at fault.
    if (place == "system" || place == "session") throw Bus::StartFailed(error.what());
    throw Malformed((where.empty() ? "HEVRA_BUS" : "--bus"), "'" + place + "'",
                    "system, session or a bus address such as unix:path=/run/bus");
  }
}

}  // namespace Quarnix::Hevra::Cli
