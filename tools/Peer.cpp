// Asks the bus for owners.
#include <tools/Peer.h>

#include <string_view>

namespace Quarnix::Hevra::Tools {

std::string Peer::ownerOf(const std::string& name) {
  try {
    return std::string(ask("org.freedesktop.DBus", "GetNameOwner", name)->begin().getText());
  } catch (const Bus::Message::Method::Return& error) {
    if (std::string_view(error.getErrorName()) != "org.freedesktop.DBus.Error.NameHasNoOwner") throw;
    return {};
  }
}

void Peer::ping() {
  if (context_.host.empty()) {
    ask("org.freedesktop.DBus.Peer", "Ping");
    return;
  }
  // systemd-stdio-bridge answers Ping itself. An object that does not describe itself answers with an error.
  try {
    ask("org.freedesktop.DBus.Introspectable", "Introspect");
  } catch (const Bus::Message::Method::Return& error) {
    const std::string_view name = error.getErrorName();
    if (!name.ends_with(".UnknownMethod") && !name.ends_with(".UnknownInterface")) throw;
  }
}

}  // namespace Quarnix::Hevra::Tools
