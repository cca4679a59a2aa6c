// The interfaces that every served object answers without its hook: Peer, Introspectable and an empty Properties.
#include <cstring>
#include <fstream>
#include <set>

#include <platform/bus/connection/Client.h>
#include <platform/bus/object/Server.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

namespace {

constexpr const char* UNKNOWN_METHOD = "org.freedesktop.DBus.Error.UnknownMethod";

constexpr const char* STANDARD_DESCRIPTION =
    " <interface name=\"org.freedesktop.DBus.Peer\">\n"
    "  <method name=\"Ping\"/>\n"
    "  <method name=\"GetMachineId\"><arg type=\"s\" direction=\"out\"/></method>\n"
    " </interface>\n"
    " <interface name=\"org.freedesktop.DBus.Introspectable\">\n"
    "  <method name=\"Introspect\"><arg type=\"s\" direction=\"out\"/></method>\n"
    " </interface>\n"
    " <interface name=\"org.freedesktop.DBus.Properties\">\n"
    "  <method name=\"Get\"><arg type=\"s\"/><arg type=\"s\"/><arg type=\"v\" direction=\"out\"/></method>\n"
    "  <method name=\"Set\"><arg type=\"s\"/><arg type=\"s\"/><arg type=\"v\"/></method>\n"
    "  <method name=\"GetAll\"><arg type=\"s\"/><arg type=\"a{sv}\" direction=\"out\"/></method>\n"
    " </interface>\n";

std::string machineId() {
  std::string id;
  for (const char* path : {"/etc/machine-id", "/var/lib/dbus/machine-id"})
    if (std::ifstream file(path); std::getline(file, id) && id.size() == 32) return id;
  return {};
}

}  // namespace

/// The description of a served object, or of a path above served objects; empty where there is neither.
std::string Client::describe(const std::string& path) const {
  const std::string prefix = path == "/" ? path : path + "/";
  std::set<std::string> children;
  for (auto server = servers_.lower_bound(prefix); server != servers_.end(); ++server) {
    if (!server->first.starts_with(prefix)) break;
    const std::string rest = server->first.substr(prefix.size());
    children.insert(rest.substr(0, rest.find('/')));
  }
  const auto served = servers_.find(path);
  if (served == servers_.end() && children.empty() && path != "/") return {};
  std::string text =
      "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
      " \"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>\n";
  if (served != servers_.end()) text.append(STANDARD_DESCRIPTION).append(served->second.server->description_);
  for (const std::string& child : children) text += " <node name=\"" + child + "\"/>\n";
  return text + "</node>\n";
}

/// Answers a call of a standard interface. False when it is the object's own.
bool Client::answerStandard(const Call& call) {
  const std::string_view interface = call.getInterface();
  if (!interface.starts_with("org.freedesktop.DBus.")) return false;
  const std::string_view member = call.getMember();
  const std::string_view signature = call.getSignature();
  const bool served = servers_.count(std::string_view(call.getPath())) > 0;

  Return reply(call);
  if (interface == "org.freedesktop.DBus.Peer" && member == "Ping") {
  } else if (interface == "org.freedesktop.DBus.Peer" && member == "GetMachineId") {
    reply.begin().append(machineId());
  } else if (interface == "org.freedesktop.DBus.Introspectable" && member == "Introspect") {
    const std::string text = describe(call.getPath());
    if (text.empty()) return false;
    reply.begin().append(text);
  } else if (interface == "org.freedesktop.DBus.Properties" && served && member == "GetAll" && signature == "s") {
    Message::Iterator arguments = reply.begin();
    Message::Iterator none = arguments.begin(Message::ARRAY, "{sv}");
    arguments.end(none);
  } else if (interface == "org.freedesktop.DBus.Properties" && served && (member == "Get" || member == "Set")) {
    refuse(call, "org.freedesktop.DBus.Error.UnknownProperty", "The object has no properties");
    return true;
  } else if (served) {
    refuse(call, UNKNOWN_METHOD,
           "No method " + std::string(member) + "(" + std::string(signature) + ") in " + std::string(interface));
    return true;
  } else {
    return false;
  }
  if (call.isReplyExpected()) answer(std::move(reply));
  return true;
}

}  // namespace Quarnix::Bus::Internal
