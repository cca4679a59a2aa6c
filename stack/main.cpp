// hevra-stackd: the simulated stack service on a bus, for application developers, integration tests and demonstrations.
#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <iostream>
#include <string>

#include <CLI/CLI.hpp>

#include <platform/bus/message/method/Return.h>
#include <stack/Service.h>
#include <stack/forms/BusOption.h>
#include <stack/forms/Document.h>
#include <stack/forms/HelpFormatter.h>
#include <stack/forms/Malformed.h>
#include <stack/forms/NodeForm.h>
#include <stack/forms/Number.h>
#include <stack/forms/Output.h>
#include <stack/forms/PlanForm.h>
#include <stack/forms/Printable.h>
#include <stack/replay/Replay.h>

namespace {

using namespace Quarnix;
using Hevra::Stack::Options;
using Hevra::Stack::Variant;
namespace Forms = Hevra::Stack::Forms;

enum ExitStatus { DONE = 0, WRONG_INPUT = 2, BUS_ERROR = 3 };

struct CommandLine {
  std::string bus;
  std::string nodes;     // a file; empty: the house
  std::string scenario;  // a file; empty: no plan
  std::string replay;    // a file; empty: a simulated service
  Options options;
};

void addOptions(CLI::App& app, CommandLine& line) {
  Options& options = line.options;
  app.set_version_flag("--version", "hevra-stackd " HEVRA_VERSION, "Prints the version");
  app.add_option("--bus", line.bus, "system, session or a bus address [$HEVRA_BUS, else system]")->type_name("WHERE");
  app.add_option_function<std::string>(
         "--service",
         [&options](const std::string& text) {
           if (text == "hevra") {
             options.variants = {Variant::HEVRA};
           } else if (text == "zuv") {
             options.variants = {Variant::ZUV};
           } else if (text != "both") {
             throw Forms::Malformed("--service", "'" + text + "'", "hevra, zuv or both");
           }
         },
         "Which variants of the service: hevra, zuv or both [both]")
      ->type_name("WHICH");
  app.add_option("--nodes", line.nodes, "The node table, a JSON array; - for standard input [a small house]")
      ->type_name("FILE");
  app.add_option_function<std::string>(
         "--pace",
         [&options](const std::string& text) {
           const auto milliseconds = static_cast<std::int64_t>(Forms::readNumber("--pace", text, UINT32_MAX));
           options.pace = Time::Elapsed::ofMilliseconds(milliseconds);
         },
         "Milliseconds between two statuses of a command, 0 for as fast as it goes [200]")
      ->type_name("MS");
  app.add_option_function<std::string>("--seed", Forms::numberInto("--seed", options.seed),
                                       "What the faults are drawn from [0]")
      ->type_name("N");

  const auto addRate = [&app](const char* name, double& rate, const char* description) {
    app.add_option_function<std::string>(
           name, [name, &rate](const std::string& text) { rate = Forms::readRate(name, text); }, description)
        ->type_name("RATE")
        ->group("Faults, each a rate from 0 to 1");
  };
  app.add_option("--scenario", line.scenario, "What happens to which calls and reports, a JSON array of rules")
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

ExitStatus fail(ExitStatus status, const std::string& text) {
  std::cerr << "hevra-stackd: " << Forms::printable(text) << '\n';
  return status;
}

/// Whatever is not done within half a second is left: an originator that does not answer its report would be waited
/// for.
void endSoon() {
  std::signal(SIGALRM, [](int) { ::_exit(DONE); });
  const itimerval half{{}, {0, 500'000}};
  ::setitimer(ITIMER_REAL, &half, nullptr);
}

void serve(const CommandLine& line) {
  // Before any thread is made, so that all of them leave these signals to sigwait.
  sigset_t ends;
  sigemptyset(&ends);
  sigaddset(&ends, SIGINT);
  sigaddset(&ends, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &ends, nullptr);

  const auto serveUntilEnd = [&ends](auto&& service) {
    service.start();
    std::cout << "ready" << std::endl;
    int signal = 0;
    sigwait(&ends, &signal);
    endSoon();
    service.stop();
  };
  const Options& options = line.options;
  if (line.replay.empty()) return serveUntilEnd(Hevra::Stack::Service(options, Forms::openBus(line.bus)));
  const std::vector<Forms::RecordedMessage> recording = Forms::readRecording(line.replay);
  const bool atOnce = options.pace == Time::Elapsed();
  serveUntilEnd(Hevra::Stack::Replay(recording, atOnce, options.variants, Forms::openBus(line.bus)));
}

}  // namespace

int main(int argc, char** argv) {
  const Forms::Output output("hevra-stackd");
  CLI::App app("The stack service without a radio: simulated commands, nodes, a daughter board.", "hevra-stackd");
  app.footer("Example: hevra-stackd --bus session --nodes house.json --pace 50 --fail 0.1");
  CommandLine line;
  Forms::layOutHelp(app);
  addOptions(app, line);
  try {
    app.parse(argc, argv);
    if (!line.nodes.empty()) {
      const Forms::Document document = Forms::readFile(line.nodes);
      line.options.nodes = Forms::readNodes(document.value, document.name);
    }
    if (!line.scenario.empty()) {
      const Forms::Document document = Forms::readFile(line.scenario);
      line.options.plan = Forms::readPlan(document.value, document.name);
    }
    serve(line);
    return DONE;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // the help or the version was asked for
    return fail(WRONG_INPUT, error.what());
  } catch (const Forms::Malformed& error) {
    return fail(WRONG_INPUT, error.what());
  } catch (const Bus::Message::Method::Return& error) {
    return fail(BUS_ERROR, error.getErrorName() + std::string(": ") + error.what());
  } catch (const std::exception& error) {
    const std::string text = error.what();
    const bool denied = text.find("AccessDenied") != text.npos;
    return fail(BUS_ERROR, text + (denied ? "; install com.quarnix.Application.HevraZuv.conf, with this user in it, in "
                                            "/usr/share/dbus-1/system.d"
                                          : ""));
  }
}
