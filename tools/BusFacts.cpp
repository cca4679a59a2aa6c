// Asks the environment, the bus and the system.
#include <tools/BusFacts.h>

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include <cli/Number.h>
#include <cli/TimeOfDay.h>
#include <stack/Variant.h>
#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

using Bus::Message::SendReturn;

namespace {

constexpr const char* DRIVER = "org.freedesktop.DBus";

/// Returns the texts of a property of the bus, if it has such a property.
std::optional<std::vector<std::string>> textsOf(Peer& bus, const std::string& property) {
  try {
    const SendReturn reply = bus.ask("org.freedesktop.DBus.Properties", "Get", std::string(DRIVER), property);
    const Bus::Message::ConstIterator value = reply->begin().getVariant();
    if (value.signature() != "as") return {};
    std::vector<std::string> texts;
    for (auto text = value.begin(); text.type() != 0; ++text) texts.emplace_back(text.getText());
    return texts;
  } catch (const Exception&) {
    return {};
  }
}

/// Returns the name of the operating system, or null.
nlohmann::ordered_json distribution() {
  constexpr std::string_view KEY = "PRETTY_NAME=";
  std::ifstream release("/etc/os-release");
  for (std::string line; std::getline(release, line);) {
    if (!line.starts_with(KEY)) continue;
    line.erase(0, KEY.size());
    std::erase(line, '"');
    return line;
  }
  return nullptr;
}

}  // namespace

std::string describePlace(const Context& context) {
  if (!context.host.empty()) return "the system bus of " + context.host + ", through ssh (--host)";
  const std::string& option = context.bus;
  const auto variable = [](const char* name) {
    const char* const value = std::getenv(name);
    return std::string(value ? value : "");
  };
  const std::string environment = variable("HEVRA_BUS");
  std::string place = !option.empty() ? option : !environment.empty() ? environment : "system";
  std::string origin = !option.empty() ? "--bus" : !environment.empty() ? "HEVRA_BUS" : "by default";
  if (place != "system" && place != "session") return place + " (" + origin + ")";
  const std::string name = place == "system" ? "DBUS_SYSTEM_BUS_ADDRESS" : "DBUS_SESSION_BUS_ADDRESS";
  const std::string address = variable(name.c_str());
  const std::string where = !address.empty()    ? " at " + address + " (" + name + ")"
                            : place == "system" ? " at its standard address"
                                                : "";
  return "the " + place + " bus (" + origin + ")" + where;
}

std::string nameOfUser(std::uint32_t user) {
  const passwd* const entry = ::getpwuid(user);
  return (entry ? entry->pw_name : "user") + (" (" + std::to_string(user)) + ")";
}

std::string describeOwner(Peer& bus, const std::string& owner, bool isHere) {
  const SendReturn reply = bus.ask(DRIVER, "GetConnectionCredentials", owner);
  std::string text = owner;
  const Bus::Message::ConstIterator entries = reply->begin();
  if (entries.signature() != "a{sv}") return text;
  for (auto entry = entries.begin(); entry.type() != 0; ++entry) {
    auto field = entry.begin();
    std::string_view key;
    field.read(key);
    const auto value = field.begin();
    std::uint32_t number = 0;
    if (value.type() == 'u') value.get(number);
    if (key == "UnixUserID") text += ", user " + (isHere ? nameOfUser(number) : std::to_string(number));
    if (key != "ProcessID") continue;
    std::string program;
    std::ifstream comm("/proc/" + std::to_string(number) + "/comm");
    if (isHere) std::getline(comm, program);
    text += ", process " + std::to_string(number) + (program.empty() ? "" : " (" + program + ")");
  }
  return text;
}

BusIdentity identify(Peer& bus) {
  BusIdentity identity;
  try {
    identity.id = bus.ask(DRIVER, "GetId")->begin().getText();
  } catch (const Exception&) {
    // It does not tell.
  }
  identity.features = textsOf(bus, "Features");
  identity.interfaces = textsOf(bus, "Interfaces");
  return identity;
}

nlohmann::ordered_json describeSystem(const Context& context) {
  using Json = nlohmann::ordered_json;
  utsname kernel{};
  ::uname(&kernel);
  Json variables = Json::object();
  for (const char* name : {"HEVRA_BUS", "HEVRA_TRACE", "DBUS_SYSTEM_BUS_ADDRESS", "DBUS_SESSION_BUS_ADDRESS"}) {
    const char* const value = std::getenv(name);
    variables[name] = value ? Json(value) : Json();
  }
  Json policy;
  for (const char* folder : {"/usr/share/dbus-1/system.d/", "/etc/dbus-1/system.d/"}) {
    const std::string file = std::string(folder) + "com.quarnix.Application.HevraZuv.conf";
    if (policy.is_null() && ::access(file.c_str(), F_OK) == 0) policy = file;
  }
  return {{"time", Cli::TimeOfDay::now().universal()},
          {"hevractl", HEVRA_VERSION},
          {"distribution", distribution()},
          {"kernel", std::string(kernel.sysname) + " " + kernel.release},
          {"machine", kernel.machine},
          {"user", nameOfUser(::geteuid())},
          {"policy", policy},
          {"options",
           {{"bus", context.bus.empty() ? Json() : Json(context.bus)},
            {"host", context.host.empty() ? Json() : Json(context.host)},
            {"service", Stack::idOf(context.variant)},
            {"app", context.application},
            {"strict", context.strict},
            {"timeout", context.timeout == Time::Elapsed() ? Json() : Json(Cli::inSeconds(context.timeout))}}},
          {"environment", variables}};
}

}  // namespace Quarnix::Hevra::Tools
