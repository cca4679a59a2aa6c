// hevractl send: submits a group of commands and follows them until they end.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include <cli/Number.h>
#include <cli/Output.h>
#include <json/CommandForm.h>
#include <json/Document.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/Wake.h>
#include <tools/Commands.h>
#include <tools/Progress.h>
#include <tools/ProgressPrinter.h>

namespace Quarnix::Hevra::Tools {

namespace {

struct Request {
  std::string group;
  std::string file;
  bool noWait = false;
  std::uint32_t seconds = 90;
};

/// Prints each report and notes each end.
class Follower : public Interface::Command::Originator, public Proxy::Command::OutcomeObserver {
 public:
  Follower(Progress& progress, ProgressPrinter& printer, Cli::Loop& loop)
      : progress_(progress), printer_(printer), loop_(loop) {}

  void progress(const Command& command, const Group& group, const HomeAutomation::Command::Status& status) override {
    printer_.print(command, group, status);
  }
  void ended(const Group&, std::uint32_t id, const Proxy::Command::Outcome& outcome) override {
    using Kind = Proxy::Command::Outcome::Kind;
    // `send` itself knows of these two: it got an error, or it has given up.
    if (outcome.kind == Kind::REFUSED || outcome.kind == Kind::ABANDONED) return;
    if (outcome.kind != Kind::FINISHED)
      printer_.printEnd(id, outcome.kind == Kind::SERVICE_LOST ? "lost" : "no report");
    progress_.end(id, outcome);
    loop_.wake();
  }

 private:
  Progress& progress_;
  ProgressPrinter& printer_;
  Cli::Loop& loop_;
};

/// Prints the library's log lines above the rows that are updated in place, when both are on a terminal.
class LoggingAside {
 public:
  explicit LoggingAside(ProgressPrinter& printer) {
    if (printer.isLive() && ::isatty(STDERR_FILENO)) Log::Logger::set(Shared::make<Aside>(printer));
  }
  ~LoggingAside() { end(); }
  LoggingAside(const LoggingAside&) = delete;
  LoggingAside& operator=(const LoggingAside&) = delete;

  void end() { Log::Logger::set(former_); }

 private:
  class Aside : public Log::Logger {
   public:
    explicit Aside(ProgressPrinter& printer) : printer_(printer) {}

   protected:
    void write(Log::Priority, const char* line) override { printer_.printAside(std::string("hevractl: ") + line); }

   private:
    ProgressPrinter& printer_;
  };

  const Shared::Pointer<Log::Logger> former_ = Log::Logger::get();
};

std::string count(std::size_t number) { return std::to_string(number) + (number == 1 ? " command" : " commands"); }

/// Returns a text such as "2 commands: 1, 2".
std::string listOf(std::vector<std::uint32_t> ids) {
  constexpr std::size_t MOST = 5;
  std::sort(ids.begin(), ids.end());
  std::string text = count(ids.size()) + ":";
  for (std::size_t i = 0; i < ids.size() && i < MOST; ++i) text += (i ? ", " : " ") + std::to_string(ids[i]);
  return text + (ids.size() > MOST ? ", ..." : "");
}

/// Returns when every command has ended or the time is over; returns false if a signal has come before.
bool follow(const Progress& progress, ProgressPrinter& printer, Cli::Loop& loop, std::uint32_t seconds) {
  const Time::Clock& clock = Time::Clock::get();
  const Time::Elapsed second(1, 0);
  Stack::Wake tick([&] {
    printer.refresh();
    tick.at(clock.now() + second);
  });
  printer.refresh();
  if (printer.isLive()) tick.at(clock.now() + second);
  return loop.runUntil([&] { return progress.isEnded(); }, clock.now() + Time::Elapsed(seconds, 0));
}

ExitStatus send(const Context& context, const Request& request) {
  const Json::Document document = Json::readObjectFile(request.file);
  const std::vector<Command> commands = Json::readCommands(document.value, document.name);
  const Group group(request.group);
  Progress progress(commands);
  ProgressPrinter printer(context.json, group, commands);
  LoggingAside logging(printer);
  Proxy::Command::Manager manager(context.isZuv(), context.application);
  manager.setConnection(context.openBus());
  if (context.strict) manager.acceptProgressOnlyFromService();
  if (!request.noWait) manager.start(true);
  const Proxy::CommandContainerList list(commands.begin(), commands.end());
  if (request.noWait) {
    // Without an originator for the reports.
    context.await<void>([&](auto handler) { return manager.addAsync({}, group, list, std::move(handler)); });
    if (!context.json) std::cout << "Sent " << count(commands.size()) << '.' << std::endl;
    return ExitStatus::DONE;
  }
  const auto follower = Shared::make<Follower>(progress, printer, context.loop);
  context.loop.takeSignals();
  context.loop.watchOutput();
  context.loop.onResize([&] { printer.resize(); });
  context.await<void>(
      [&](auto handler) { return manager.submitAsync(follower, group, list, follower, std::move(handler)); });
  const bool isInterrupted = !follow(progress, printer, context.loop, request.seconds);
  manager.stop();
  printer.refresh();
  logging.end();

  const Progress::Summary summary = progress.getSummary();
  if (!context.json) {
    if (printer.isLive()) std::cout << '\r';  // overwrites the "^C" of an interrupt
    std::cout << summary.completed << " of " << count(commands.size()) << " completed";
    if (summary.failed) std::cout << ", " << summary.failed << " ended otherwise";
    std::cout << '.' << std::endl;
  }
  if (!summary.lost.empty()) {
    Cli::Output::printError(manager.getHost() + " has gone, and with it " + listOf(summary.lost));
    return ExitStatus::BUS_ERROR;
  }
  if (!summary.unfinished.empty()) {
    if (isInterrupted) {
      Cli::Output::printError("interrupted; hevractl cancel ends " + listOf(summary.unfinished));
      context.loop.obeySignal();
    }
    Cli::Output::printError("gave up after " + std::to_string(request.seconds) + " s on " + listOf(summary.unfinished));
    return ExitStatus::GAVE_UP;
  }
  if (!summary.unheard.empty()) {
    Cli::Output::printError("no more was heard of " + listOf(summary.unheard));
    return ExitStatus::GAVE_UP;
  }
  return summary.failed ? ExitStatus::NO : ExitStatus::DONE;
}

}  // namespace

void addSend(CLI::App& app, Context& context) {
  const auto request = std::make_shared<Request>();
  CLI::App& command = addCommand(app, "send", "Sends a group of commands and follows their progress",
                                 "hevractl send --group g1 - <<END\n"
                                 "[{\"id\": 7, \"address\": 4097, \"write\": true,\n"
                                 "  \"value\": {\"type\": \"b\", \"value\": true}}]\n"
                                 "END");
  command.add_option("FILE", request->file, "JSON objects of commands, or an array; - for standard input")
      ->required()
      ->type_name("");
  command.add_option("--group", request->group, "The group's identifier")->required()->type_name("ID");
  CLI::Option* noWait = command.add_flag("--no-wait", request->noWait, "Ends as soon as the service has the commands");
  command
      .add_option_function<std::string>("--wait", Cli::numberInto("--wait", request->seconds),
                                        "How many seconds to follow them at the most [90]")
      ->type_name("SECONDS")
      ->excludes(noWait);
  command.callback(
      [&context, request] { context.chosen = [request](const Context& chosen) { return send(chosen, *request); }; });
}

}  // namespace Quarnix::Hevra::Tools
