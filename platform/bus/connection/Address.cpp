// Parses bus addresses.
#include <platform/bus/connection/Address.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <map>
#include <utility>

#include <platform/bus/Error.h>
#include <platform/core/internal/Environment.h>

namespace Quarnix::Bus::Internal {

namespace {

constexpr const char* STANDARD_SYSTEM_BUS = "unix:path=/run/dbus/system_bus_socket";

[[noreturn]] void fail(std::string_view text, const std::string& why) {
  throw InvalidArgument("Bus address \"" + std::string(text) + "\": " + why);
}

int hexadecimal(char c) noexcept {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

std::string unescape(std::string_view whole, std::string_view value) {
  std::string result;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '%') {
      result += value[i];
      continue;
    }
    const int high = i + 2 < value.size() ? hexadecimal(value[i + 1]) : -1;
    const int low = high >= 0 ? hexadecimal(value[i + 2]) : -1;
    if (low < 0) fail(whole, "expected two hexadecimal digits behind '%'");
    result += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return result;
}

/// Reads KEY=VALUE,KEY=VALUE and passes each pair to `take`.
template <class Take>
void readPairs(std::string_view whole, std::string_view pairs, const Take& take) {
  while (!pairs.empty()) {
    const std::string_view entry = pairs.substr(0, pairs.find(','));
    pairs.remove_prefix(std::min(pairs.size(), entry.size() + 1));
    const std::size_t equals = entry.find('=');
    if (equals == std::string_view::npos) fail(whole, "expected KEY=VALUE, such as path=/run/dbus/system_bus_socket");
    take(entry.substr(0, equals), unescape(whole, entry.substr(equals + 1)));
  }
}

/// One address behind "unix:". Its keys are path or abstract, and guid; it ignores others.
Address parseUnix(std::string_view whole, std::string_view pairs) {
  Address address;
  readPairs(whole, pairs, [&](std::string_view key, const std::string& value) {
    if (key == "guid") address.guid = value;
    if (key != "path" && key != "abstract") return;
    if (!address.path.empty()) fail(whole, "expected only one of path= and abstract=");
    if (value.empty()) fail(whole, "expected a value behind " + std::string(key) + "=");
    address.path = key == "path" ? value : '\0' + value;
  });
  if (address.path.empty()) fail(whole, "expected path= or abstract=");
  if (address.path.size() >= sizeof(sockaddr_un::sun_path))
    fail(whole, "expected a socket path of at most " + std::to_string(sizeof(sockaddr_un::sun_path) - 1) + " bytes");
  return address;
}

/// One address behind "unixexec:". Its keys are path, argv0, argv1 and so on up to the first that is missing, and guid;
/// it ignores others.
Address parseUnixExec(std::string_view whole, std::string_view pairs) {
  Address address;
  std::map<std::string, std::string, std::less<>> arguments;
  readPairs(whole, pairs, [&](std::string_view key, const std::string& value) {
    if (value.find('\0') != std::string::npos) fail(whole, "expected no %00 behind " + std::string(key) + "=");
    if (key == "guid") address.guid = value;
    if (key == "path") address.path = value;
    if (key.starts_with("argv")) arguments.insert_or_assign(std::string(key), value);
  });
  if (address.path.empty()) fail(whole, "expected path=, the program to run");
  arguments.emplace("argv0", address.path);
  for (auto next = arguments.find("argv0"); next != arguments.end();
       next = arguments.find("argv" + std::to_string(address.arguments.size())))
    address.arguments.push_back(next->second);
  return address;
}

}  // namespace

std::vector<Address> parseAddresses(std::string_view text) {
  std::vector<Address> addresses;
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::string_view entry = rest.substr(0, rest.find(';'));
    rest.remove_prefix(std::min(rest.size(), entry.size() + 1));
    const std::size_t colon = entry.find(':');
    if (colon == std::string_view::npos)
      fail(text, "expected \"system\", \"session\", \"in-process\" or unix:path=...");
    const std::string_view transport = entry.substr(0, colon);
    if (transport == "unix") addresses.push_back(parseUnix(text, entry.substr(colon + 1)));
    if (transport == "unixexec") addresses.push_back(parseUnixExec(text, entry.substr(colon + 1)));
  }
  if (addresses.empty()) fail(text, "expected a unix:path=..., unix:abstract=... or unixexec:path=... address");
  return addresses;
}

std::vector<Address> systemBusAddresses() {
  const char* const given = environmentValue("DBUS_SYSTEM_BUS_ADDRESS");
  return parseAddresses(given ? given : STANDARD_SYSTEM_BUS);
}

std::vector<Address> sessionBusAddresses() {
  if (const char* const given = environmentValue("DBUS_SESSION_BUS_ADDRESS")) return parseAddresses(given);
  throw InvalidArgument("Bus \"session\": expected its address in DBUS_SESSION_BUS_ADDRESS, which is not set");
}

}  // namespace Quarnix::Bus::Internal
