// The help of the programs, laid out for a console of 80 columns and 24 rows.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace Quarnix::Hevra::Stack::Forms {

/// Gives the program this layout; before its commands are added.
void layOutHelp(CLI::App& app);

}  // namespace Quarnix::Hevra::Stack::Forms
