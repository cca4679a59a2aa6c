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

}  // namespace Quarnix::Hevra::Tools
