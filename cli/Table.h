// Lays out rows in columns.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include <cli/Terminal.h>

namespace Quarnix::Hevra::Cli {

struct Cell {
  // Implicit, because most cells are only a text.
  Cell(std::string cellText, const char* cellColour = "") : text(std::move(cellText)), colour(cellColour) {}

  std::string text;
  const char* colour;  // an escape sequence, used only where the terminal has colours
};

inline constexpr const char* GREEN = "\033[32m";
inline constexpr const char* YELLOW = "\033[33m";
inline constexpr const char* RED = "\033[31m";

/// Makes the lines of a table. On a terminal, no line is wider than the terminal and no column but the last takes more
/// than a third of it; longer texts are cut. Elsewhere nothing is cut. Texts may have any content: control characters
/// are escaped.
class Table {
 public:
  using Row = std::vector<Cell>;

  struct Column {
    std::string title;
    std::size_t width = 0;  // at least; a title that is wider counts
  };

  Table(const Terminal& terminal, std::vector<Column> columns);

  /// From now on lines are cut for this terminal.
  void setTerminal(const Terminal& terminal) noexcept { terminal_ = terminal; }
  /// Widens the columns as far as this row needs.
  void fit(const Row& row);

  std::string titles() const;
  /// Returns the line without its end. When a row has fewer cells than there are columns, the last cell takes up the
  /// rest of the line.
  std::string line(const Row& row) const;

 private:
  Terminal terminal_;
  std::vector<Column> columns_;
};

}  // namespace Quarnix::Hevra::Cli
