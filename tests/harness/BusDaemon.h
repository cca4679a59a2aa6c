// A real bus daemon of the test's own.
#pragma once

#include <string>

#include <sys/types.h>

namespace Quarnix::Harness {

/// A private dbus-daemon on a socket in a fresh folder, which lets everybody do everything unless `rules` (of its
/// configuration's policy, later ones win) say otherwise. As the usual system bus, it refuses more than 128 calls of a
/// connection that wait for replies. It goes with the object, and with the process.
class BusDaemon {
 public:
  enum class Begin { STARTED, STOPPED };

  explicit BusDaemon(Begin begin = Begin::STARTED, const std::string& rules = {});
  ~BusDaemon();
  BusDaemon(const BusDaemon&) = delete;
  BusDaemon& operator=(const BusDaemon&) = delete;

  /// "unix:path=...", the same each time that it is started.
  const std::string& address() const noexcept { return address_; }
  /// What it has complained about.
  std::string log() const;
  /// Returns when it listens.
  void start();
  /// Returns when it is gone, with everything that it held.
  void kill();

 private:
  std::string folder_ = "/tmp/hevra-bus-XXXXXX";  // a socket's path is short
  std::string address_;
  pid_t pid_ = -1;
};

}  // namespace Quarnix::Harness
