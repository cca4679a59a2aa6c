// Answers Peer, Introspectable and Properties.
#include <platform/bus/connection/StandardInterfaces.h>

#include <fstream>
#include <string_view>
#include <utility>

#include <platform/bus/connection/ServedObjects.h>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

namespace {

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

std::string describeNode(const char* interfaces, const std::set<std::string>& children) {
  std::string text =
      "<!DOCTYPE node PUBLIC \"-//freedesktop//DTD D-BUS Object Introspection 1.0//EN\"\n"
      " \"http://www.freedesktop.org/standards/dbus/1.0/introspect.dtd\">\n<node>\n";
  if (interfaces) text.append(STANDARD_DESCRIPTION).append(interfaces);
  for (const std::string& child : children) text += " <node name=\"" + child + "\"/>\n";
  return text + "</node>\n";
}

std::optional<Return> answerStandard(const Call& call, ServedObjects& objects) {
  const std::string_view interface = call.getInterface();
  if (!interface.starts_with("org.freedesktop.DBus.")) return std::nullopt;
  const std::string_view member = call.getMember();
  const std::string_view signature = call.getSignature();

  Return reply(call);
  if (interface == "org.freedesktop.DBus.Peer" && member == "Ping") return reply;
  if (interface == "org.freedesktop.DBus.Peer" && member == "GetMachineId") {
    reply.begin().append(machineId());
    return reply;
  }
  if (interface == "org.freedesktop.DBus.Introspectable" && member == "Introspect") {
    const std::string text = objects.describe(call.getPath());
    if (text.empty()) return std::nullopt;
    reply.begin().append(text);
    return reply;
  }
  if (!objects.find(call.getPath())) return std::nullopt;
  if (interface == "org.freedesktop.DBus.Properties" && member == "GetAll" &&
      signature == Message::SIGNATURE_OF<std::string>) {
    Message::Iterator arguments = reply.begin();
    Message::Iterator none = arguments.begin(Message::ARRAY, "{sv}");
    arguments.end(none);
    return reply;
  }
  if (interface == "org.freedesktop.DBus.Properties" && (member == "Get" || member == "Set"))
    return Return(call, "org.freedesktop.DBus.Error.UnknownProperty", "The object has no properties");
  return Return(call, "org.freedesktop.DBus.Error.UnknownMethod",
                "No method " + std::string(member) + "(" + std::string(signature) + ") in " + std::string(interface));
}

}  // namespace Quarnix::Bus::Internal
