// What standard output can show.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Quarnix::Hevra::Tools {

struct Terminal {
  std::size_t columns = 0;  // but the last, where not every terminal keeps the cursor; 0: no terminal, nothing is cut
  std::size_t rows = 0;     // 0: the cursor cannot be moved, lines only follow each other
  bool coloured = false;    // never with NO_COLOR
  bool utf8 = false;        // as the locale's variables say

  /// That of standard output: its own size, else $COLUMNS and $LINES, else 80 columns and 24 rows.
  static Terminal ofOutput();
};

/// How many columns a printable text takes.
std::size_t widthOf(std::string_view text);
/// The text, or as much of its beginning as leaves room for `mark` within so many columns.
std::string cut(const std::string& text, std::size_t columns, const char* mark);

}  // namespace Quarnix::Hevra::Tools
