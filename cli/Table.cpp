// Pads and cuts the cells.
#include <cli/Table.h>

#include <algorithm>
#include <cstdint>

#include <cli/Printable.h>
#include <cli/Width.h>

namespace Quarnix::Hevra::Cli {

namespace {

constexpr std::size_t GAP = 2;

}  // namespace

Table::Table(const Terminal& terminal, std::vector<Column> columns)
    : terminal_(terminal), columns_(std::move(columns)) {
  for (Column& column : columns_) column.width = std::max(column.width, widthOf(column.title));
}

void Table::fit(const Row& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    std::size_t width = widthOf(printable(row[i].text));
    if (terminal_.columns > 0) width = std::min(width, terminal_.columns / 3);
    columns_[i].width = std::max(columns_[i].width, width);
  }
}

std::string Table::titles() const {
  Row titles;
  for (const Column& column : columns_) titles.emplace_back(column.title);
  return line(titles);
}

std::string Table::line(const Row& row) const {
  std::string line;
  std::size_t left = terminal_.columns > 0 ? terminal_.columns : SIZE_MAX;
  for (std::size_t i = 0; i < row.size() && left > 0; ++i) {
    const bool last = i + 1 == row.size();
    const std::size_t widest = last || terminal_.columns == 0 ? left : std::min(left, columns_[i].width);
    const std::string text = cut(printable(row[i].text), widest, terminal_.utf8 ? "…" : "...");
    const bool coloured = terminal_.coloured && *row[i].colour;
    line += coloured ? row[i].colour + text + "\033[0m" : text;
    const std::size_t used = widthOf(text);
    left -= std::min(left, used);
    if (last) break;
    const std::size_t space = std::min(left, std::max(columns_[i].width, used) - used + GAP);
    line.append(space, ' ');
    left -= space;
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line;
}

}  // namespace Quarnix::Hevra::Cli
