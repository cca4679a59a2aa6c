// Asks the terminal and the environment, and counts columns.
#include <tools/Terminal.h>

#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace Quarnix::Hevra::Tools {

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

/// Of the first character; `length` becomes how many bytes it has.
std::size_t widthOfFirst(std::string_view text, std::size_t& length) {
  const auto first = static_cast<std::uint8_t>(text.front());
  length = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
  if (length > text.size()) length = text.size();
  std::uint32_t code = length == 1 ? first : first & (0x7FU >> length);
  for (std::size_t i = 1; i < length; ++i) code = code << 6 | (static_cast<std::uint8_t>(text[i]) & 0x3FU);
  constexpr struct {
    std::uint32_t first, last;
    std::size_t width;
  } RANGES[] = {{0x300, 0x36F, 0},   {0x200B, 0x200F, 0}, {0x1100, 0x115F, 2},   {0x2E80, 0xA4CF, 2},
                {0xAC00, 0xD7A3, 2}, {0xF900, 0xFAFF, 2}, {0xFE00, 0xFE0F, 0},   {0xFE30, 0xFE6F, 2},
                {0xFF00, 0xFF60, 2}, {0xFFE0, 0xFFE6, 2}, {0x1F300, 0x1FAFF, 2}, {0x20000, 0x3FFFD, 2}};
  for (const auto& range : RANGES)
    if (code >= range.first && code <= range.last) return range.width;
  return 1;
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

std::size_t widthOf(std::string_view text) {
  std::size_t width = 0;
  for (std::size_t length = 0; !text.empty(); text.remove_prefix(length)) width += widthOfFirst(text, length);
  return width;
}

std::string cut(const std::string& text, std::size_t columns, const char* mark) {
  if (widthOf(text) <= columns) return text;
  if (widthOf(mark) > columns) mark = "";
  const std::size_t room = columns - widthOf(mark);
  std::string_view rest = text;
  for (std::size_t width = 0, length = 0; !rest.empty(); rest.remove_prefix(length)) {
    width += widthOfFirst(rest, length);
    if (width > room) break;
  }
  return text.substr(0, text.size() - rest.size()) + mark;
}

}  // namespace Quarnix::Hevra::Tools
