// The bus names that a connection owns.
#pragma once

#include <string>
#include <vector>

#include <platform/bus/connection/Driver.h>
#include <platform/bus/connection/Reports.h>

namespace Quarnix::Bus::Internal {

/// Keeps the names that the application has requested, and requests them again on each new link. If another connection
/// has taken a name meanwhile, the bus queues this one and gives the name back later.
///
/// Threads: the connection's mutex guards it, and every caller holds it.
class OwnNames {
 public:
  OwnNames(DriverQueue& bus, Reports& reports) noexcept : bus_(bus), reports_(reports) {}

  /// The call that requests a name without queueing for it, and whether its answer gives the name.
  static Message::Method::Call request(const std::string& name);
  static bool isGiven(const Message::Method::Return& answer);

  /// Adding a name again does nothing, nor does removing one that is not there.
  void add(const std::string& name);
  void remove(const std::string& name) noexcept;
  /// Requests all names again. Raises std::bad_alloc.
  void tell();

 private:
  void requestAgain(const std::string& name);

  DriverQueue& bus_;
  Reports& reports_;
  std::vector<std::string> names_;
};

}  // namespace Quarnix::Bus::Internal
