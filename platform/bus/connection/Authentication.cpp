// The authentication dialogue.
#include <platform/bus/connection/Authentication.h>

#include <string_view>

namespace Quarnix::Bus::Internal {

Authentication::Authentication(std::uint32_t userId) {
  static constexpr char DIGITS[] = "0123456789abcdef";
  std::string hexadecimal;
  for (const char c : std::to_string(userId)) {
    hexadecimal += DIGITS[static_cast<unsigned char>(c) >> 4];
    hexadecimal += DIGITS[static_cast<unsigned char>(c) & 15];
  }
  output_ = std::string(1, '\0') + "AUTH EXTERNAL " + hexadecimal + "\r\n";
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
    output_ += "BEGIN\r\n";
    state_ = State::DONE;
  } else if (line == "REJECTED" || line.starts_with("REJECTED ")) {
    state_ = State::REFUSED;
    reason_ = "The bus refused the authentication of this user: ";
    // An error's text is UTF-8, a line may be anything.
    for (const char character : line_) reason_ += character >= ' ' && character <= '~' ? character : '?';
  } else {
    output_ += "ERROR\r\n";
  }
}

}  // namespace Quarnix::Bus::Internal
