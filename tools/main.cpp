// hevractl: reaches the stack service from the command line through the proxies.
#include <unistd.h>

#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include <cli/HelpFormatter.h>
#include <cli/Host.h>
#include <cli/Number.h>
#include <cli/Output.h>
#include <json/Malformed.h>
#include <proxy/node/Manager.h>
#include <tools/Commands.h>
#include <tools/Usage.h>

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
  app.add_option_function<std::string>(
         "--timeout",
         [&context](const std::string& text) {
           context.timeout = Hevra::Cli::readSeconds("--timeout", text);
           if (context.timeout == Time::Elapsed())
             throw Malformed("--timeout", "'" + text + "'", "more than 0 seconds");
         },
         "How long a call may take [as long as the library waits]")
      ->type_name("SECONDS");
  app.add_flag("--json", context.json, "Prints one JSON value a line");
  // The help has room for the usual options only; `hevractl help options` prints these too.
  const std::vector<CLI::Option*> others = {
      app.add_option("--app", context.application, "The application that progress is sent to [hevractl]")
          ->type_name("NAME"),
      app.add_flag("--strict", context.strict, "Takes progress from nobody but the service"),
      app.add_flag("--raw", context.raw, "Admits classes, types, actions and statuses without a name"),
      app.add_flag("--show-keys", context.showKeys, "Shows keys in tables and recordings; JSON has them")};
  for (CLI::Option* option : others) option->group("");
}

/// The application's name becomes an element of the object path that a manager serves.
void checkApplication(const std::string& name) {
  constexpr const char* LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_";
  if (name.empty() || name.find_first_not_of(LETTERS) != name.npos)
    throw Malformed("--app", "'" + name + "'", "letters, digits and '_'");
}

ExitStatus run(int argc, char** argv, CLI::App& app, Output& output, Context& context) {
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
  addHelp(app, context);
  app.require_subcommand(1);
  app.parse(argc, argv);
  checkApplication(context.application);
  if (app.count("--host")) Hevra::Cli::addressOfHost(context.host);  // raises an error for what is no host
  if (context.json) output.beginJson();
  return context.chosen(context);
}

/// Prints the error, and for one of the bus on a terminal what helps on.
int end(ExitStatus status, const std::string& text, const Context& context) {
  if (!text.empty()) Output::printError(text);
  if (status == ExitStatus::BUS_ERROR && ::isatty(STDERR_FILENO) && !context.isDiagnosis)
    Output::printError("'" + context.commandLine("doctor") + "' looks for the cause");
  return static_cast<int>(status);
}

/// Runs the program and returns its exit status.
int runToEnd(int argc, char** argv, CLI::App& app, Output& output, Context& context) {
  const auto fail = [&](ExitStatus status, const std::string& text) { return end(status, text, context); };
  try {
    return fail(run(argc, argv, app, output, context), {});
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the user asked for a help text or the version
    return fail(ExitStatus::WRONG_INPUT, explain(app, error));
  } catch (const Malformed& error) {
    return fail(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Bus::InvalidArgument& error) {
    return fail(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Hevra::Proxy::Node::Manager::UnknownNodeClass& error) {
    return fail(ExitStatus::WRONG_INPUT,
                error.getId() + (": the class " + std::to_string(error.getNodeClass())) + " has no record");
  } catch (const Bus::Message::Method::Return& error) {
    return fail(ExitStatus::BUS_ERROR, error.getErrorName() + std::string(": ") + error.getErrorText());
  } catch (const Exception& error) {
    return fail(ExitStatus::BUS_ERROR, error.getId() + std::string(": ") + error.what());
  } catch (const std::exception& error) {
    return fail(ExitStatus::BUS_ERROR, error.what());
  }
}

}  // namespace

int main(int argc, char** argv) {
  Output output("hevractl");
  CLI::App app("Reaches the radio stack service: its nodes, links, commands and daughter board.", "hevractl");
  app.footer("Example: hevractl send 0x1001 b true      More options: hevractl help options");
  try {
    Hevra::Cli::Loop loop;
    Context context(loop);
    return runToEnd(argc, argv, app, output, context);
  } catch (const std::system_error& error) {
    Output::printError(error.what());
    return static_cast<int>(ExitStatus::BUS_ERROR);
  }
}
