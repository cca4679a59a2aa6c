// Opens the bus and prints results.
#include <tools/Context.h>

#include <iostream>

#include <cli/BusOption.h>

namespace Quarnix::Hevra::Tools {

Shared::Pointer<Bus::Connection> Context::openBus() const { return Cli::openBus(bus); }

void Context::connect(Bus::Object::Proxy& manager) const {
  manager.setConnection(openBus());
  manager.setTimeout(timeout);
}

std::string Context::commandLine(const std::string& command) const {
  std::string line = "hevractl";
  if (!bus.empty()) line += " --bus " + quoted(bus);
  if (isZuv()) line += " --service zuv";
  return line + ' ' + command;
}

void Context::print(const nlohmann::ordered_json& value, const std::string& sentence) const {
  if (json)
    std::cout << value.dump() << std::endl;
  else
    std::cout << sentence << std::endl;
}

std::string quoted(const std::string& word) {
  constexpr const char* PLAIN = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-+=./:,@%";
  if (!word.empty() && word.find_first_not_of(PLAIN) == word.npos) return word;
  std::string text = "'";
  for (const char letter : word) text += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return text + "'";
}

}  // namespace Quarnix::Hevra::Tools
