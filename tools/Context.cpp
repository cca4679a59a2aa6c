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

void Context::connect(Bus::Object::Proxy& manager) const {
  manager.setConnection(openBus());
  manager.setTimeout(timeout);
}

std::string Context::commandLine(const std::string& command) const {
  std::string line = "hevractl";
  if (!bus.empty()) line += " --bus " + quoted(bus);
  if (!host.empty()) line += " --host " + quoted(host);
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
