// The commands of hevractl; each has a source file of its own. A function adds its command to the command line. When
// that command is chosen, it stores in the context what is to run.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include <cli/Number.h>
#include <tools/Context.h>

namespace Quarnix::Hevra::Tools {

void addReset(CLI::App& app, Context& context);
void addNodes(CLI::App& app, Context& context);
void addNode(CLI::App& app, Context& context);
void addLink(CLI::App& app, Context& context);
void addSend(CLI::App& app, Context& context);
void addCancel(CLI::App& app, Context& context);
void addWatch(CLI::App& app, Context& context);
void addDoctor(CLI::App& app, Context& context);
void addWait(CLI::App& app, Context& context);
void addRecord(CLI::App& app, Context& context);

/// Adds the option that prints the version; every command has it.
void addVersion(CLI::App& app);
/// Adds a command that has the version option and an example below its help, and accepts the global options after its
/// name.
CLI::App& addCommand(CLI::App& app, const char* name, const char* description, const char* example);
/// Adds a required option that takes a number in the target's range; or an argument, when the name has no dashes.
template <class T>
CLI::Option* addNumber(CLI::App& command, const char* name, T& target, const char* description) {
  CLI::Option* option = command.add_option_function<std::string>(name, Cli::numberInto(name, target), description);
  return option->required()->type_name(*name == '-' ? "N" : "");
}

}  // namespace Quarnix::Hevra::Tools
