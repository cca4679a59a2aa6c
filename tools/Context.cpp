// Opens the bus and prints results.
#include <tools/Context.h>

#include <iostream>

#include <cli/BusOption.h>

namespace Quarnix::Hevra::Tools {

Shared::Pointer<Bus::Connection> Context::openBus() const { return Cli::openBus(bus); }

void Context::print(const nlohmann::ordered_json& value, const std::string& sentence) const {
  if (json)
    std::cout << value.dump() << std::endl;
  else
    std::cout << sentence << std::endl;
}

}  // namespace Quarnix::Hevra::Tools
