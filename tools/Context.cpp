// The bus and the two outputs.
#include <tools/Context.h>

#include <iostream>

#include <stack/forms/BusOption.h>

namespace Quarnix::Hevra::Tools {

Shared::Pointer<Bus::Connection> Context::openBus() const { return Stack::Forms::openBus(bus); }

void Context::print(const nlohmann::ordered_json& value, const std::string& sentence) const {
  if (json)
    std::cout << value.dump() << std::endl;
  else
    std::cout << sentence << std::endl;
}

void complain(std::string text) {
  for (char& letter : text)
    if (letter == '\n') letter = ' ';
  std::cerr << "hevractl: " << text << '\n';
}

}  // namespace Quarnix::Hevra::Tools
