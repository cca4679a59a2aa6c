// Opens the bus and prints results.
#include <tools/Context.h>

#include <iostream>

#include <cli/BusOption.h>
#include <cli/Host.h>
#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

Shared::Pointer<Bus::Connection> Context::openBus(bool isReached) const {
  if (host.empty()) return Cli::openBus(bus);
  auto connection = Bus::Connection::open(Cli::addressOfHost(host));
  // Longer than connecting takes at the most, because the error of the connection says what is wrong.
  if (isReached) Peer(*this, connection, Time::Elapsed(30, 0)).ask("org.freedesktop.DBus", "GetId");
  return connection;
}

void Context::print(const nlohmann::ordered_json& value, const std::string& sentence) const {
  if (json)
    std::cout << value.dump() << std::endl;
  else
    std::cout << sentence << std::endl;
}

}  // namespace Quarnix::Hevra::Tools
