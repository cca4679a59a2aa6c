// hevra-stackd: the simulated stack service on a bus, for application developers, integration tests and demonstrations.
#include <poll.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>
#include <utility>

#include <CLI/CLI.hpp>

#include <cli/BusOption.h>
#include <cli/ExitStatus.h>
#include <cli/HelpFormatter.h>
#include <cli/Loop.h>
#include <cli/Number.h>
#include <cli/Output.h>
#include <json/Document.h>
#include <json/Malformed.h>
#include <json/NodeForm.h>
#include <json/ScenarioForm.h>
#include <platform/bus/message/method/Return.h>
#include <stack/Service.h>
#include <stackd/Replay.h>

namespace {

using namespace Quarnix;
using Hevra::Cli::ExitStatus;
using Hevra::Stack::Options;
namespace Cli = Hevra::Cli;
namespace Json = Hevra::Json;
namespace Stack = Hevra::Stack;

struct CommandLine {
  std::string bus;
  // Files; empty for the default.
  std::string nodes;     // otherwise the small house
  std::string scenario;  // otherwise no plan
  std::string replay;    // otherwise a simulated service
  Options options;
};

void addOptions(CLI::App& app, CommandLine& line) {
  Options& options = line.options;
  app.set_version_flag("--version", "hevra-stackd " HEVRA_VERSION, "Prints the version");
  app.add_option("--bus", line.bus, "system, session or a bus address [$HEVRA_BUS, else system]")->type_name("WHERE");
  app.add_option_function<std::string>(
         "--service",
         [&options](const std::string& text) {
           if (text == "both") return;
           const auto variant = Stack::findVariant(text);
           if (!variant) throw Json::Malformed("--service", "'" + text + "'", "hevra, zuv or both");
           options.variants = {*variant};
         },
         "Which variants of the service: hevra, zuv or both [both]")
      ->type_name("WHICH");
  app.add_option("--nodes", line.nodes, "The nodes, JSON objects or an array; - for standard input [a small house]")
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--pace",
         [&options](const std::string& text) {
           const auto milliseconds = static_cast<std::int64_t>(Cli::readNumber("--pace", text, UINT32_MAX));
           options.pace = Time::Elapsed::ofMilliseconds(milliseconds);
         },
         "Milliseconds between two statuses of a command, 0 for as fast as it goes [200]")
      ->type_name("MS");
  app.add_option_function<std::string>(
         "--time-scale",
         [&options](const std::string& text) {
           options.timeScale = Cli::readFraction("--time-scale", text, 0.001, 1'000'000);
         },
         "How many times as fast the simulated time passes [1]")
      ->type_name("N");
  app.add_option_function<std::string>("--seed", Cli::numberInto("--seed", options.seed),
                                       "What the faults are drawn from [0]")
      ->type_name("N");

  const auto addRate = [&app](const char* name, double& rate, const char* description) {
    app.add_option_function<std::string>(
           name, [name, &rate](const std::string& text) { rate = Cli::readFraction(name, text, 0, 1); }, description)
        ->type_name("RATE")
        ->group("Faults, each a rate from 0 to 1");
  };
  app.add_option("--scenario", line.scenario, "What goes wrong with which calls, and what happens when, in JSON")
      ->type_name("FILE");
  addRate("--drop", options.drop, "Commands without any progress");
  addRate("--fail", options.fail, "Commands that end as FAILED");
  addRate("--refuse", options.refuse, "Calls that get an error reply and are not carried out");
  addRate("--silent", options.silent, "Calls that are carried out and get no reply");
  addRate("--duplicate", options.duplicate, "Progress reports that are sent twice");
  app.add_option("--replay", line.replay,
                 "Answers from what hevractl record has kept, at its pace; with --pace 0 at once")
      ->type_name("FILE")
      ->excludes("--nodes", "--scenario", "--seed", "--drop", "--fail", "--refuse", "--silent", "--duplicate");
}

int fail(ExitStatus status, const std::string& text) {
  Cli::Output::printError(text);
  return static_cast<int>(status);
}

/// Ends the process half a second from now, because a bus that does not answer would keep it waiting for its names.
void endSoon() {
  std::signal(SIGALRM, [](int) { ::_exit(static_cast<int>(ExitStatus::DONE)); });
  const itimerval half{{}, {0, 500'000}};
  ::setitimer(ITIMER_REAL, &half, nullptr);
}

void readNodes(const std::string& file, Options& options) {
  const Json::Document document = Json::readObjectFile(file);
  options.nodes = Json::readNodes(document.value, document.name);
}

void readScenario(const std::string& file, Options& options) {
  const Json::Document document = Json::readObjectFile(file);
  Json::Scenario scenario = Json::readScenario(document.value, document.name);
  options.plan = std::move(scenario.plan);
  options.timeline = std::move(scenario.timeline);
}

/// Reads the files again, and then changes what the service has; standard input is read only once. If something is
/// wrong with a file, nothing changes.
void reload(const CommandLine& line, Stack::Service& service) {
  const bool hasNodes = !line.nodes.empty() && line.nodes != "-";
  const bool hasScenario = !line.scenario.empty() && line.scenario != "-";
  try {
    Options options;
    if (hasNodes) readNodes(line.nodes, options);
    if (hasScenario) readScenario(line.scenario, options);
    if (hasNodes) service.getNodes().replace(options.nodes);
    if (hasScenario) {
      service.setPlan(options.plan);
      service.setTimeline(options.timeline);
    }
    std::cout << "reloaded" << std::endl;
  } catch (const std::exception& error) {
    Cli::Output::printError(error.what() + std::string("; nothing was reloaded"));
  }
}

/// Whether standard input was a terminal that is gone. Its end sends a SIGHUP too.
bool hasLostTerminal() {
  struct stat found {};
  pollfd input{STDIN_FILENO, 0, 0};
  return ::fstat(STDIN_FILENO, &found) == 0 && S_ISCHR(found.st_mode) && ::poll(&input, 1, 0) == 1 &&
         (input.revents & POLLHUP) != 0;
}

template <class Service>
void serveUntilEnd(Cli::Loop& loop, Service& service) {
  service.start();
  std::cout << "ready" << std::endl;
  loop.runUntilSignal();
  endSoon();
  service.stop();
}

void serve(const CommandLine& line) {
  Cli::Loop loop;
  loop.takeSignals();
  if (!line.replay.empty()) {
    Hevra::Stackd::Replay replay(Json::readRecording(line.replay), line.options, Cli::openBus(line.bus));
    return serveUntilEnd(loop, replay);
  }
  Stack::Service service(line.options, Cli::openBus(line.bus));
  loop.onHangup([&] {
    if (hasLostTerminal()) {
      std::raise(SIGTERM);
    } else {
      reload(line, service);
    }
  });
  serveUntilEnd(loop, service);
}

}  // namespace

int main(int argc, char** argv) {
  const Cli::Output output("hevra-stackd");
  CLI::App app("The stack service without a radio: simulated commands, nodes, a daughter board.", "hevra-stackd");
  app.footer("Example: hevra-stackd --bus session --nodes house.json --pace 50 --fail 0.1");
  CommandLine line;
  Cli::layOutHelp(app);
  addOptions(app, line);
  try {
    app.parse(argc, argv);
    if (!line.nodes.empty()) readNodes(line.nodes, line.options);
    if (!line.scenario.empty()) readScenario(line.scenario, line.options);
    serve(line);
    return static_cast<int>(ExitStatus::DONE);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the user asked for the help or the version
    return fail(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Json::Malformed& error) {
    return fail(ExitStatus::WRONG_INPUT, error.what());
  } catch (const Bus::Message::Method::Return& error) {
    return fail(ExitStatus::BUS_ERROR, error.getErrorName() + std::string(": ") + error.what());
  } catch (const std::exception& error) {
    const std::string text = error.what();
    const bool denied = text.find("AccessDenied") != text.npos;
    return fail(ExitStatus::BUS_ERROR,
                text + (denied ? "; install com.quarnix.Application.HevraZuv.conf, with this user in it, in "
                                 "/usr/share/dbus-1/system.d"
                               : ""));
  }
}
