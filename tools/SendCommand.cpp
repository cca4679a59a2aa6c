// hevractl send: submits a group of commands and follows them to their ends.
#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

#include <platform/core/log/Logger.h>
#include <platform/core/time/Clock.h>
#include <proxy/command/CommandContainerList.h>
#include <proxy/command/Manager.h>
#include <stack/forms/CommandForm.h>
#include <stack/forms/Document.h>
#include <stack/forms/Number.h>
#include <tools/Commands.h>
#include <tools/Interruption.h>
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
  Follower(Progress& progress, ProgressPrinter& printer, Interruption& interruption)
      : progress_(progress), printer_(printer), interruption_(interruption) {}

  void progress(const Command& command, const Group& group, const HomeAutomation::Command::Status& status) override {
    printer_.print(command, group, status);
  }
  void ended(const Group&, std::uint32_t id, const Proxy::Command::Outcome& outcome) override {
    using Kind = Proxy::Command::Outcome::Kind;
    // Of these two the caller knows: an error was raised, and it has given up.
    if (outcome.kind == Kind::REFUSED || outcome.kind == Kind::ABANDONED) return;
    if (outcome.kind != Kind::FINISHED)
      printer_.printEnd(id, outcome.kind == Kind::SERVICE_LOST ? "lost" : "no report");
    progress_.end(id, outcome);
    interruption_.wake();
  }

 private:
  Progress& progress_;
  ProgressPrinter& printer_;
  Interruption& interruption_;
};

/// Keeps what the library logs from the rows that are kept up to date, where both are on a terminal.
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

/// "2 commands: 1, 2".
std::string listOf(std::vector<std::uint32_t> ids) {
  constexpr std::size_t MOST = 5;
  std::sort(ids.begin(), ids.end());
  std::string text = count(ids.size()) + ":";
  for (std::size_t i = 0; i < ids.size() && i < MOST; ++i) text += (i ? ", " : " ") + std::to_string(ids[i]);
  return text + (ids.size() > MOST ? ", ..." : "");
}

/// Until every command has ended, the time is over or a signal comes.
void follow(const Progress& progress, ProgressPrinter& printer, Interruption& interruption,
            const Time::Monotonic& deadline) {
  const Time::Elapsed second(1, 0);
  for (Time::Monotonic now = Time::Clock::get().now();
       !progress.isEnded() && Interruption::getSignal() == 0 && now < deadline; now = Time::Clock::get().now()) {
    printer.refresh();
    interruption.wait(printer.isLive() ? std::min(deadline, now + second) : deadline);
  }
}

ExitStatus send(const Context& context, const Request& request) {
  const Stack::Forms::Document document = Stack::Forms::readFile(request.file);
  const std::vector<Command> commands = Stack::Forms::readCommands(document.value, document.name);
  const Group group(request.group);
  Interruption interruption;
  Progress progress(commands);
  ProgressPrinter printer(context.json, group, commands);
  LoggingAside logging(printer);
  Proxy::Command::Manager manager(context.zuv, context.application);
  manager.setConnection(context.openBus());
  if (context.strict) manager.acceptProgressOnlyFromService();
  if (!request.noWait) manager.start(true);
  const Proxy::CommandContainerList list(commands.begin(), commands.end());
  if (request.noWait) {
    manager.add({}, group, list);  // nobody is to hear of them
    if (!context.json) std::cout << "Sent " << count(commands.size()) << '.' << std::endl;
    return ExitStatus::DONE;
  }
  const auto follower = Shared::make<Follower>(progress, printer, interruption);
  manager.submit(follower, group, list, follower);
  interruption.begin();
  follow(progress, printer, interruption, Time::Clock::get().now() + Time::Elapsed(request.seconds, 0));
  // Waits for the hook that is under way, and with it until the answer to the last report is sent.
  manager.stop();
  printer.refresh();
  logging.end();

  const Progress::Summary summary = progress.getSummary();
  if (!context.json) {
    if (printer.isLive()) std::cout << '\r';  // over the "^C" of an interrupt
    std::cout << summary.completed << " of " << count(commands.size()) << " completed";
    if (summary.failed) std::cout << ", " << summary.failed << " ended otherwise";
    std::cout << '.' << std::endl;
  }
  if (!summary.lost.empty()) {
    complain(manager.getHost() + " has gone, and with it " + listOf(summary.lost));
    return ExitStatus::BUS_ERROR;
  }
  if (!summary.unfinished.empty()) {
    if (Interruption::getSignal() != 0) {
      complain("interrupted; hevractl cancel ends " + listOf(summary.unfinished));
      Interruption::obey();
    }
    complain("gave up after " + std::to_string(request.seconds) + " s on " + listOf(summary.unfinished));
    return ExitStatus::GAVE_UP;
  }
  if (!summary.unheard.empty()) {
    complain("no more was heard of " + listOf(summary.unheard));
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
  command.add_option("FILE", request->file, "A JSON array of commands; - for standard input")
      ->required()
      ->type_name("");
  command.add_option("--group", request->group, "The group's identifier")->required()->type_name("ID");
  CLI::Option* noWait = command.add_flag("--no-wait", request->noWait, "Ends as soon as the service has the commands");
  command
      .add_option_function<std::string>("--wait", Stack::Forms::numberInto("--wait", request->seconds),
                                        "How many seconds to follow them at the most [90]")
      ->type_name("SECONDS")
      ->excludes(noWait);
  command.callback(
      [&context, request] { context.chosen = [request](const Context& chosen) { return send(chosen, *request); }; });
}

}  // namespace Quarnix::Hevra::Tools
