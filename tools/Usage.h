// Explains the command line: its help, and what is wrong with it.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace Quarnix::Hevra::Tools {

/// Returns one line that says what is wrong, which commands or options may have been meant, and where the help is.
std::string explain(const CLI::App& app, const CLI::ParseError& error);

}  // namespace Quarnix::Hevra::Tools
