// The bus and the two outputs.
#include <tools/Context.h>

#include <iostream>

#include <stack/forms/BusOption.h>
#include <stack/forms/Printable.h>

namespace Quarnix::Hevra::Tools {

Shared::Pointer<Bus::Connection> Context::openBus() const { return Stack::Forms::openBus(bus); }

void Context::print(const nlohmann::ordered_json& value, const std::string& sentence) const {
  if (json)
    std::cout << value.dump() << std::endl;
  else
    std::cout << sentence << std::endl;
}

void complain(const std::string& text) { std::cerr << "hevractl: " << Stack::Forms::printable(text) << '\n'; }

}  // namespace Quarnix::Hevra::Tools
