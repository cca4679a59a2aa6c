// Tells systemd how the application is doing, without libsystemd.
#pragma once

#include <string>

/// Sends lines such as "READY=1" to the socket that systemd names in NOTIFY_SOCKET; see sd_notify(3). Without that
/// variable it sends nothing.
///
/// Threads: any.
class ServiceManager {
 public:
  ServiceManager() = default;
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;
  ~ServiceManager();

  /// Sends one line; line feeds in the text become spaces. Ignores errors: the application works without systemd.
  void tell(std::string line) const;

 private:
  static int connect() noexcept;

  const int socket_ = connect();
};
