// hevractl send: submits a group of commands and follows them until they end.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <cli/Number.h>
#include <cli/Output.h>
#include <cli/QuietKeyboard.h>
#include <json/CommandForm.h>
#include <json/Document.h>
#include <json/Malformed.h>
#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/Wake.h>
#include <tools/Commands.h>
#include <tools/Progress.h>
#include <tools/ProgressPrinter.h>
#include <tools/Writes.h>

namespace Quarnix::Hevra::Tools {

namespace {

constexpr int MOST_WORDS = 1 << 20;

struct Request {
  std::string group;               // empty: a fresh one
  std::vector<std::string> words;  // the file, or an address, a type and a value for each command
  Writes writes;
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

std::vector<Command> readFile(const Context& context, const std::string& file) {
  const Json::Document document = Json::readObjectFile(file);
  return Json::readCommands(document.value, document.name, context.raw);
}

std::string freshGroup() {
  char text[16];
  std::snprintf(text, sizeof text, "h%08x", std::random_device()());
  return text;
}

/// Lists the commands of the group that are still under way, each with what cancels it.
void listUnfinished(const Context& context, const Group& group, const std::vector<std::uint32_t>& ids) {
  Cli::Output::printError("interrupted; still under way: " + count(ids.size()) + ". To cancel:");
  for (const std::uint32_t id : ids)
    Cli::Output::printDetail(context.commandLine("cancel --key " + quoted(group.getId() + "_" + std::to_string(id))));
}

ExitStatus send(const Context& context, const Request& request) {
  const bool isFile = request.words.size() == 1;
  const std::vector<Command> commands =
      isFile ? readFile(context, request.words.front()) : request.writes.read(request.words);
  const Group group(request.group.empty() ? freshGroup() : request.group);
  Progress progress(commands);
  ProgressPrinter printer(context.json, group, commands);
  LoggingAside logging(printer);
  Proxy::Command::Manager manager(context.isZuv(), context.application);
  context.connect(manager);
  if (context.strict) manager.acceptProgressOnlyFromService();
  if (!request.noWait) manager.start(true);
  const Proxy::CommandContainerList list(commands.begin(), commands.end());
  if (request.noWait) {
    // Without an originator for the reports.
    context.await<void>([&](auto handler) { return manager.addAsync({}, group, list, std::move(handler)); });
    const std::string as = request.group.empty() ? " as the group " + group.getId() : "";
    if (!context.json) std::cout << "Sent " << count(commands.size()) << as << '.' << std::endl;
    return ExitStatus::DONE;
  }
  const auto follower = Shared::make<Follower>(progress, printer, context.loop);
  context.loop.takeSignals();
  context.loop.watchOutput();
  context.loop.onResize([&] { printer.resize(); });
  std::optional<Cli::QuietKeyboard> keyboard;
  if (printer.isLive()) keyboard.emplace();
  context.loop.onPause(
      [&] {
        if (keyboard) keyboard->off();
      },
      [&] {
        if (keyboard) keyboard->on();
        printer.resume();
      });
  context.await<void>(
      [&](auto handler) { return manager.submitAsync(follower, group, list, follower, std::move(handler)); });
  const bool isInterrupted = !follow(progress, printer, context.loop, request.seconds);
  manager.stop();
  printer.refresh();
  logging.end();

  const Progress::Summary summary = progress.getSummary();
  if (!context.json) {
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
      listUnfinished(context, group, summary.unfinished);
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
  CLI::App& command = addCommand(app, "send", "Sends commands and follows their progress",
                                 "hevractl send 0x1001 b true   or, with a file:\n"
                                 "hevractl send --group g1 - <<END\n"
                                 "[{\"id\": 7, \"address\": \"0x1001\", \"write\": true,\n"
                                 "  \"value\": {\"type\": \"b\", \"value\": true}}]\n"
                                 "END");
  command
      .add_option("FILE", request->words,
                  "JSON objects of commands, or an array; - for standard input; or ADDRESS TYPE VALUE of each command")
      ->required()
      ->type_name("")
      // With expected(-1), a word in brackets would be split at its commas.
      ->expected(MOST_WORDS)
      ->allow_extra_args(false)
      ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
  command.add_option("--group", request->group, "The group's identifier; a fresh one, unless there is a file")
      ->type_name("ID");
  command
      .add_option_function<std::string>(
          "--delay",
          [request](const std::string& text) { Cli::numberInto("--delay", request->writes.delay.emplace())(text); },
          "After how many seconds, for ADDRESS TYPE VALUE")
      ->type_name("SECONDS");
  command.add_option("--label", request->writes.label, "What to call them, for ADDRESS TYPE VALUE")->type_name("TEXT");
  CLI::Option* noWait = command.add_flag("--no-wait", request->noWait, "Ends as soon as the service has the commands");
  command
      .add_option_function<std::string>("--wait", Cli::numberInto("--wait", request->seconds),
                                        "How many seconds to follow them at the most [90]")
      ->type_name("SECONDS")
      ->excludes(noWait);
  command.callback([&context, request] {
    if (request->words.size() == 1) {
      if (request->group.empty()) throw Json::Malformed("--group", "nothing", "the identifier of the file's group");
      if (request->writes.delay || request->writes.label)
        throw Json::Malformed(request->writes.delay ? "--delay" : "--label", "a file",
                              "ADDRESS TYPE VALUE; a file says it for each command");
    }
    context.chosen = [request](const Context& chosen) { return send(chosen, *request); };
  });
}

}  // namespace Quarnix::Hevra::Tools
