// One datagram for each line.
#include <examples/gateway/ServiceManager.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

ServiceManager::~ServiceManager() {
  if (socket_ >= 0) ::close(socket_);
}

void ServiceManager::tell(std::string line) const {
  std::replace(line.begin(), line.end(), '\n', ' ');
  line += '\n';
  if (socket_ >= 0) ::send(socket_, line.data(), line.size(), MSG_NOSIGNAL);
}

int ServiceManager::connect() noexcept {
  const char* const path = std::getenv("NOTIFY_SOCKET");
  sockaddr_un address{};
  if (!path || std::strlen(path) >= sizeof(address.sun_path)) return -1;
  address.sun_family = AF_UNIX;
  std::strcpy(address.sun_path, path);
  if (*path == '@') address.sun_path[0] = '\0';  // an abstract name
  const int descriptor = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(path));
  // If it fails, `send` fails too.
  static_cast<void>(::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), size));
  return descriptor;
}
