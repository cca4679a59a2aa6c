// The authentication dialogue.
#include <platform/bus/connection/Authentication.h>

#include <algorithm>
#include <string_view>

#include <platform/core/internal/Hexadecimal.h>

namespace Quarnix::Bus::Internal {

Authentication::Authentication(std::optional<std::uint32_t> userId, std::string guid)
    : guid_(std::move(guid)), isUserNamed_(userId.has_value()) {
  lines_ = std::string(1, '\0') + "AUTH EXTERNAL";
  if (userId) {
    const std::string digits = std::to_string(*userId);
    lines_ += ' ';
    appendHexadecimal(lines_, {reinterpret_cast<const std::uint8_t*>(digits.data()), digits.size()});
  } else {
    lines_ += "\r\nDATA";  // the bus asks which user this is, and takes an empty answer for the one that it sees
  }
  lines_ += "\r\nBEGIN\r\n";
}

std::size_t Authentication::feed(const char* bytes, std::size_t count) {
  std::size_t taken = 0;
  while (taken < count && state_ == State::WAITING) {
    line_ += bytes[taken++];
    if (line_.size() >= 2 && line_.ends_with("\r\n")) {
      line_.resize(line_.size() - 2);
      line();
      line_.clear();
    } else if (line_.size() > MAXIMUM_LINE) {
      state_ = State::REFUSED;
      reason_ = "The bus sent an authentication line of more than " + std::to_string(MAXIMUM_LINE) + " bytes";
    }
  }
  return taken;
}

void Authentication::line() {
  const std::string_view line(line_);
  if (line == "OK" || line.starts_with("OK ")) {
    const std::string_view guid = line.substr(std::min<std::size_t>(line.size(), 3));
    if (!guid_.empty() && guid != guid_)
      return refuse("The bus is not the one that is expected, with the guid " + guid_ + ": ", line);
    state_ = State::DONE;
  } else if (isUserNamed_ || (line != "DATA" && line != "DATA ")) {
    refuse("The bus refused the authentication of this user: ", line);
  }
}

void Authentication::refuse(const std::string& why, std::string_view line) {
  state_ = State::REFUSED;
  reason_ = why;
  // An error's text is UTF-8, a line may be anything.
  for (const char character : line) reason_ += character >= ' ' && character <= '~' ? character : '?';
}

}  // namespace Quarnix::Bus::Internal
