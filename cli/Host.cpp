// Builds the command line that reaches the other machine.
#include <cli/Host.h>

#include <string_view>

#include <json/Malformed.h>
#include <platform/core/internal/Hexadecimal.h>

namespace Quarnix::Hevra::Cli {

using Json::Malformed;

namespace {

/// Runs ssh and tells from its exit status what is missing. An interrupt on the terminal is for hevractl: ssh has to
/// stay until the last messages are through. It gives up sooner than a connection to a bus does, so that its own error
/// comes first.
constexpr const char* SCRIPT = R"(trap '' INT
command -v ssh >/dev/null || { echo "ssh is missing on this machine" >&2; exit; }
echo "connecting to $1" >&2
ssh -xT -o ConnectTimeout=20 -- "$1" systemd-stdio-bridge
case $? in
  0) ;;
  127) echo "systemd-stdio-bridge is missing on $1" >&2 ;;
  255) echo "ssh has no connection to $1" >&2 ;;
  *) echo "systemd-stdio-bridge has no connection to the system bus of $1" >&2 ;;
esac)";

/// Escapes the characters that mean something in an address.
std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    const bool isPlain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
                         std::string_view("-_/.\\*").find(c) != std::string_view::npos;
    if (isPlain) {
      result += c;
    } else {
      const auto byte = static_cast<std::uint8_t>(c);
      result += '%';
      appendHexadecimal(result, {&byte, 1});
    }
  }
  return result;
}

}  // namespace

std::string addressOfHost(const std::string& host) {
  const std::size_t at = host.rfind('@') + 1;  // 0 without a user
  bool isHost = at < host.size() && host[0] != '-' && host[0] != '@' && host[at] != '-';
  for (const char c : host) isHost &= c > ' ' && c != 127;
  if (!isHost) throw Malformed("--host", "'" + host + "'", "[USER@]HOST, as for ssh");
  return "unixexec:path=/bin/sh,argv1=-c,argv2=" + escaped(SCRIPT) + ",argv3=hevractl,argv4=" + escaped(host);
}

}  // namespace Quarnix::Hevra::Cli
