// hevractl: reaches the stack service from the command line through the proxies.
#include <iostream>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include <cli/HelpFormatter.h>
#include <cli/Host.h>
#include <cli/Output.h>
#include <json/Malformed.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>

namespace {

using namespace Quarnix;
using namespace Quarnix::Hevra::Tools;
using Hevra::Cli::Output;
using Hevra::Json::Malformed;

void addGlobalOptions(CLI::App& app, Context& context) {
  Hevra::Cli::layOutHelp(app);
  addVersion(app);
  app.add_option("--bus", context.bus, "system, session or a bus address [$HEVRA_BUS, else system]")
      ->type_name("WHERE");
  app.add_option("--host", context.host, "[USER@]HOST: its system bus, through ssh [this machine]")
      ->type_name("HOST")
      ->excludes("--bus");
  app.add_option_function<std::string>(
         "--service",
         [&context](const std::string& text) {
           const auto variant = Hevra::Stack::findVariant(text);
           if (!variant) throw Malformed("--service", "'" + text + "'", "hevra or zuv");
           context.variant = *variant;
         },
         "Which variant of the service: hevra or zuv [hevra]")
      ->type_name("WHICH");
  app.add_option("--app", context.application, "The application that progress is sent to [hevractl]")
      ->type_name("NAME");
  app.add_flag("--strict", context.strict, "Takes progress from nobody but the service");
  app.add_flag("--show-keys", context.showKeys, "Shows keys in tables and recordings; JSON has them");
  app.add_flag("--json", context.json, "Prints one JSON value a line");
}

/// The application's name becomes an element of the object path that a manager serves.
void checkApplication(const std::string& name) {
  constexpr const char* LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
  if (name.empty() || name.find_first_not_of(LETTERS) != name.npos)
    throw Malformed("--app", "'" + name + "'", "letters, digits and '_'");
}

ExitStatus run(int argc, char** argv, CLI::App& app, Output& output) {
  Hevra::Cli::Loop loop;
  Context context(loop);
  addGlobalOptions(app, context);
  addReset(app, context);
  addNodes(app, context);
  addNode(app, context);
  addLink(app, context);
  addSend(app, context);
  addCancel(app, context);
  addWatch(app, context);
  addDoctor(app, context);
  addWait(app, context);
  addRecord(app, context);
  app.require_subcommand(1);
  app.parse(argc, argv);
  checkApplication(context.application);
  if (app.count("--host")) Hevra::Cli::addressOfHost(context.host);  // raises an error for what is no host
  if (context.json) output.beginJson();
  return context.chosen(context);
}

int end(ExitStatus status, const std::string& text) {
  Output::printError(text);
  return static_cast<int>(status);
}

}  // namespace

int main(int argc, char** argv) {
  Output output("hevractl");
  CLI::App app("Reaches the radio stack service: its nodes, links, commands and daughter board.", "hevractl");
  app.footer("Example: hevractl --bus session --json send --group g1 commands.json");
  try {
    return static_cast<int>(run(argc, argv, app, output));
  } catch (const CLI::RequiredError& error) {
    // When the command is missing, there may be a word that is no command.
    const std::vector<std::string> words = app.remaining(true);
    if (words.empty()) return end(ExitStatus::WRONG_INPUT, error.what());
    return end(ExitStatus::WRONG_INPUT, "'" + words.front() + "' was not expected, and: " + error.what());
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the user asked for a help text or the version
    return end(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Malformed& error) {
    return end(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Bus::InvalidArgument& error) {
    return end(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Hevra::Proxy::Node::Manager::UnknownNodeClass& error) {
    return end(ExitStatus::WRONG_INPUT,
               error.getId() + (": the class " + std::to_string(error.getNodeClass())) + " has no record");
  } catch (const Bus::Message::Method::Return& error) {
    return end(ExitStatus::BUS_ERROR, error.getErrorName() + std::string(": ") + error.getErrorText());
  } catch (const Exception& error) {
    return end(ExitStatus::BUS_ERROR, error.getId() + std::string(": ") + error.what());
  } catch (const std::exception& error) {
    return end(ExitStatus::BUS_ERROR, error.what());
  }
}
