// The commands of hevractl, a source each. A function adds its command to the command line, and leaves in the context
// what is to run when it was chosen.
#pragma once

#include <CLI/CLI.hpp>

#include <tools/Context.h>

namespace Quarnix::Hevra::Tools {

void addReset(CLI::App& app, Context& context);
void addSend(CLI::App& app, Context& context);
void addCancel(CLI::App& app, Context& context);

/// The option that prints the version; on every level.
void addVersion(CLI::App& app);
/// A command with what all of them have: the version, an example below its help, the global options behind it too.
CLI::App& addCommand(CLI::App& app, const char* name, const char* description, const char* example);

}  // namespace Quarnix::Hevra::Tools
