// Rows whose columns stand under each other.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <tools/Terminal.h>

namespace Quarnix::Hevra::Tools {

struct Cell {
  // Implicit: most cells are a text.
  Cell(std::string words, const char* colourOfIt = "") : text(std::move(words)), colour(colourOfIt) {}

  std::string text;
  const char* colour;  // an escape sequence; shown only where the terminal has colours
};

inline constexpr const char* GREEN = "\033[32m";
inline constexpr const char* YELLOW = "\033[33m";
inline constexpr const char* RED = "\033[31m";

/// Makes lines. On a terminal none is wider than that, and no column but the last takes more than a third of it: what
/// is longer is cut. Elsewhere nothing is. Texts may be anything: control characters are escaped.
class Table {
 public:
  using Row = std::vector<Cell>;

  struct Column {
    std::string title;
    std::size_t width = 0;  // at least, as the title is
  };

  Table(const Terminal& terminal, std::vector<Column> columns);

  /// Makes the columns as wide as this row needs.
  void fit(const Row& row);

  std::string titles() const;
  /// The line, without its end. The last cell of a row that has fewer than there are columns reaches across the rest.
  std::string line(const Row& row) const;

 private:
  Terminal terminal_;
  std::vector<Column> columns_;
};

}  // namespace Quarnix::Hevra::Tools
