// Lays out the help of the programs for a console of 80 columns and 24 rows.
#pragma once

#include <CLI/CLI.hpp>

namespace Quarnix::Hevra::Cli {

/// Gives the program this layout; call it before you add the program's commands.
void layOutHelp(CLI::App& app);

}  // namespace Quarnix::Hevra::Cli
