// The commands of hevractl, a source each. A function adds its command to the command line, and leaves in the context
// what is to run when it was chosen.
#pragma once

#include <string>

#include <CLI/CLI.hpp>

#include <stack/forms/Number.h>
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

/// The option that prints the version; on every level.
void addVersion(CLI::App& app);
/// A command with what all of them have: the version, an example below its help, the global options behind it too.
CLI::App& addCommand(CLI::App& app, const char* name, const char* description, const char* example);
/// An option that must be given and takes a number of the target's range; so an argument, whose name has no dashes.
template <class T>
CLI::Option* addNumber(CLI::App& command, const char* name, T& target, const char* description) {
  CLI::Option* option =
      command.add_option_function<std::string>(name, Stack::Forms::numberInto(name, target), description);
  return option->required()->type_name(*name == '-' ? "N" : "");
}

}  // namespace Quarnix::Hevra::Tools
