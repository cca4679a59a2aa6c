// Requests names from the bus.
#include <platform/bus/connection/OwnNames.h>

#include <algorithm>
#include <cstdint>

namespace Quarnix::Bus::Internal {

using Message::Method::Call;
using Message::Method::Return;

namespace {

/// The flags and the answers of RequestName.
constexpr std::uint32_t QUEUE = 0;
constexpr std::uint32_t DO_NOT_QUEUE = 4;
constexpr std::uint32_t PRIMARY_OWNER = 1;
constexpr std::uint32_t ALREADY_OWNER = 4;

}  // namespace

Call OwnNames::request(const std::string& name) { return driverCall("RequestName", name, DO_NOT_QUEUE); }

bool OwnNames::isGiven(const Return& answer) {
  const std::uint32_t result = answerOf<std::uint32_t>(answer).value_or(0);
  return result == PRIMARY_OWNER || result == ALREADY_OWNER;
}

void OwnNames::add(const std::string& name) {
  if (std::find(names_.begin(), names_.end(), name) == names_.end()) names_.push_back(name);
}

void OwnNames::remove(const std::string& name) noexcept {
  names_.erase(std::remove(names_.begin(), names_.end(), name), names_.end());
}

void OwnNames::tell() {
  for (const std::string& name : names_) requestAgain(name);
}

void OwnNames::requestAgain(const std::string& name) {
  bus_.post(driverCall("RequestName", name, QUEUE), [this, name](const Return& answer) {
    if (answer.isException()) {
      reports_.warn("The bus name " + name + " was not given back: " + describe(answer));
    } else if (!isGiven(answer)) {
      reports_.warn("The bus name " + name + " was taken by another connection: it comes back after that one");
    }
  });
}

}  // namespace Quarnix::Bus::Internal
