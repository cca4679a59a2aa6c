// What all commands have in common on the command line.
#include <tools/Commands.h>

#include <string>

namespace Quarnix::Hevra::Tools {

void addVersion(CLI::App& app) { app.set_version_flag("--version", "hevractl " HEVRA_VERSION, "Prints the version"); }

CLI::App& addCommand(CLI::App& app, const char* name, const char* description, const char* example) {
  CLI::App& command = *app.add_subcommand(name, description);
  addVersion(command);
  command.group("Commands");
  command.footer(std::string("Example: ") + example +
                 "\nOptions of all commands, as --bus and --json: hevractl --help");
  command.fallthrough();
  return command;
}

}  // namespace Quarnix::Hevra::Tools
