// Finds the bus.
#include <stack/forms/BusOption.h>

#include <cstdlib>

#include <stack/forms/Malformed.h>

namespace Quarnix::Hevra::Stack::Forms {

Shared::Pointer<Bus::Connection> openBus(const std::string& where) {
  const char* const environment = ::secure_getenv("HEVRA_BUS");
  const std::string place = !where.empty() ? where : environment && *environment ? environment : "system";
  try {
    return Bus::Connection::open(place);
  } catch (const Bus::InvalidArgument& error) {
    // A well-known bus that cannot be found is no fault of the command line.
    if (place == "system" || place == "session") throw Bus::StartFailed(error.what());
    throw Malformed((where.empty() ? "HEVRA_BUS" : "--bus"), "'" + place + "'",
                    "system, session or a bus address such as unix:path=/run/bus");
  }
}

}  // namespace Quarnix::Hevra::Stack::Forms
