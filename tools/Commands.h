// The commands of hevractl; each has a source file of its own. A function adds its command to the command line. When
// that command is chosen, it stores in the context what is to run.
#pragma once

#include <functional>
#include <string>
#include <utility>

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
void addHelp(CLI::App& app, Context& context);

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
/// Adds an option that takes a name of the protocol, such as "sensor", or its number. Other numbers need --raw.
/// `assign` is given the number.
template <class T>
CLI::Option* addNamed(CLI::App& command, const Context& context, const char* name, Json::Names names,
                      std::function<void(T)> assign, const char* description) {
  return command
      .add_option_function<std::string>(
          name,
          [&context, name, names, assign = std::move(assign)](const std::string& text) {
            assign(Cli::readNamed<T>(name, text, names, context.raw));
          },
          description)
      ->type_name("NAME");
}

}  // namespace Quarnix::Hevra::Tools
