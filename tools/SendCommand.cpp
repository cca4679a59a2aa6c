// hevractl send: submits a group of commands and follows them to their ends.
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>

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

/// Prints and notes each report. The manager holds one reference for each command in flight, so that the end of the
/// last one, or its time-out, destroys it: nothing more will come then.
class Follower : public Interface::Command::Originator {
 public:
  Follower(Progress& progress, ProgressPrinter& printer, Interruption& interruption)
      : progress_(progress), printer_(printer), interruption_(interruption) {}
  ~Follower() override {
    progress_.close();
    interruption_.wake();
  }

  void progress(const Command& command, const Group& group, const HomeAutomation::Command::Status& status) override {
    printer_.print(command, group, status);
    progress_.note(command.getId(), command.getStatus());
  }

 private:
  Progress& progress_;
  ProgressPrinter& printer_;
  Interruption& interruption_;
};

std::string count(std::size_t number) { return std::to_string(number) + (number == 1 ? " command" : " commands"); }

/// "2 commands: 1, 2".
std::string listOf(const std::vector<std::uint32_t>& unfinished) {
  constexpr std::size_t MOST = 5;
  std::string text = count(unfinished.size()) + ":";
  for (std::size_t i = 0; i < unfinished.size() && i < MOST; ++i)
    text += (i ? ", " : " ") + std::to_string(unfinished[i]);
  return text + (unfinished.size() > MOST ? ", ..." : "");
}

/// Until nothing more will come, the time is over or a signal comes.
void follow(const Progress& progress, ProgressPrinter& printer, Interruption& interruption,
            const Time::Monotonic& deadline) {
  const Time::Elapsed second(1, 0);
  for (Time::Monotonic now = Time::Clock::get().now();
       !progress.isClosed() && Interruption::getSignal() == 0 && now < deadline; now = Time::Clock::get().now()) {
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
  Proxy::Command::Manager manager(context.zuv, context.application);
  manager.setConnection(context.openBus());
  if (context.strict) manager.acceptProgressOnlyFromService();
  if (!request.noWait) manager.start(true);
  const Proxy::CommandContainerList list(commands.begin(), commands.end());
  manager.add(Shared::make<Follower>(progress, printer, interruption), group, list);
  if (request.noWait) {
    if (!context.json) std::cout << "Sent " << count(commands.size()) << '.' << std::endl;
    return ExitStatus::DONE;
  }
  interruption.begin();
  follow(progress, printer, interruption, Time::Clock::get().now() + Time::Elapsed(request.seconds, 0));
  // Waits for the hook that is under way, and with it until the answer to the last report is sent.
  manager.stop();

  const Progress::Outcome outcome = progress.getOutcome();
  if (!context.json) {
    std::cout << outcome.completed << " of " << count(commands.size()) << " completed";
    if (outcome.failed) std::cout << ", " << outcome.failed << " ended otherwise";
    std::cout << '.' << std::endl;
  }
  if (outcome.unfinished.empty()) return outcome.failed ? ExitStatus::NO : ExitStatus::DONE;
  const std::string unfinished = listOf(outcome.unfinished);
  if (Interruption::getSignal() != 0) {
    complain("interrupted, still under way are " + unfinished + "; hevractl cancel ends them");
    Interruption::obey();
  }
  complain(progress.isClosed() ? "no more was heard of " + unfinished
                               : "gave up after " + std::to_string(request.seconds) + " s on " + unfinished);
  return ExitStatus::GAVE_UP;
}

}  // namespace

void addSend(CLI::App& app, Context& context) {
  const auto request = std::make_shared<Request>();
  CLI::App& command = addCommand(
      app, "send", "Submits the commands of a JSON array as one group and follows their progress",
      "echo '[{\"id\": 7, \"address\": 1193046, \"write\": true, \"value\": {\"type\": \"u\", \"value\": 42}}]' |\n"
      "         hevractl send --group g1 -");
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
