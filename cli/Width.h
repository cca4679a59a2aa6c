// Measures and cuts texts by the columns that they take on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Quarnix::Hevra::Cli {

/// Returns how many columns a printable text takes.
std::size_t widthOf(std::string_view text);

/// Returns the text when it fits into `columns`; otherwise its beginning and `mark`, which fit together. A mark that is
/// wider than `columns` is left out.
std::string cut(const std::string& text, std::size_t columns, const char* mark);

}  // namespace Quarnix::Hevra::Cli
