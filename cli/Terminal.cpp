// Asks the terminal and the environment.
#include <cli/Terminal.h>

#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace Quarnix::Hevra::Cli {

namespace {

std::string_view variable(const char* name) {
  const char* const value = std::getenv(name);
  return value ? value : "";
}

std::size_t sizeOr(std::size_t own, const char* name, std::size_t otherwise) {
  if (own > 0) return own;
  const unsigned long given = std::strtoul(variable(name).data(), nullptr, 10);
  return given > 0 && given < 10000 ? given : otherwise;
}

bool isUtf8() {
  for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
    const std::string_view locale = variable(name);
    if (locale.empty()) continue;
    const std::size_t dot = locale.find('.');
    const char* const letters = dot == locale.npos ? "" : locale.data() + dot + 1;
    return ::strncasecmp(letters, "UTF-8", 5) == 0 || ::strncasecmp(letters, "utf8", 4) == 0;
  }
  return false;
}

}  // namespace

Terminal Terminal::ofOutput() {
  Terminal terminal;
  terminal.utf8 = isUtf8();
  if (!::isatty(STDOUT_FILENO)) return terminal;
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) size = {};
  const std::string_view kind = variable("TERM");
  const bool movable = !kind.empty() && kind != "dumb";
  terminal.columns = sizeOr(size.ws_col, "COLUMNS", 80) - 1;
  terminal.rows = movable ? sizeOr(size.ws_row, "LINES", 24) : 0;
  terminal.coloured = movable && variable("NO_COLOR").empty();
  return terminal;
}

}  // namespace Quarnix::Hevra::Cli
