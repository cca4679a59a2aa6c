// hevractl send: submits a group of commands and follows them to their ends.
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
  Follower(Progress& progress, const ProgressPrinter& printer) : progress_(progress), printer_(printer) {}
  ~Follower() override { progress_.close(); }

  void progress(const Command& command, const Group& group, const HomeAutomation::Command::Status& status) override {
    printer_.print(command, group, status);
    progress_.note(command.getId(), command.getStatus());
  }

 private:
  Progress& progress_;
  ProgressPrinter printer_;
};

std::string count(std::size_t number) { return std::to_string(number) + (number == 1 ? " command" : " commands"); }

void complainOfUnfinished(const Progress::Outcome& outcome, const std::string& why) {
  constexpr std::size_t MOST = 5;
  std::string text = count(outcome.unfinished.size()) + " without an end" + why + ":";
  for (std::size_t i = 0; i < outcome.unfinished.size() && i < MOST; ++i)
    text += (i ? ", " : " ") + std::to_string(outcome.unfinished[i]);
  complain(text + (outcome.unfinished.size() > MOST ? ", ..." : ""));
}

ExitStatus send(const Context& context, const Request& request) {
  const Stack::Forms::Document document = Stack::Forms::readFile(request.file);
  const std::vector<Command> commands = Stack::Forms::readCommands(document.value, document.name);
  const Group group(request.group);
  Progress progress(commands);
  Proxy::Command::Manager manager(context.zuv, context.application);
  manager.setConnection(context.openBus());
  if (context.strict) manager.acceptProgressOnlyFromService();
  if (!request.noWait) manager.start(true);
  const Proxy::CommandContainerList list(commands.begin(), commands.end());
  manager.add(Shared::make<Follower>(progress, ProgressPrinter(context.json, group, commands)), group, list);
  if (request.noWait) {
    if (!context.json) std::cout << "Sent " << count(commands.size()) << '.' << std::endl;
    return ExitStatus::DONE;
  }
  const bool closed = progress.awaitClose(Time::Clock::get().now() + Time::Elapsed(request.seconds, 0));
  // Waits for the hook that is under way, and with it until the answer to the last report is sent.
  manager.stop();

  const Progress::Outcome outcome = progress.getOutcome();
  if (!context.json) {
    std::cout << outcome.completed << " of " << count(commands.size()) << " completed";
    if (outcome.failed) std::cout << ", " << outcome.failed << " ended otherwise";
    std::cout << '.' << std::endl;
  }
  if (!outcome.unfinished.empty()) {
    complainOfUnfinished(outcome,
                         closed ? ", no more was heard of them" : " after " + std::to_string(request.seconds) + " s");
    return ExitStatus::GAVE_UP;
  }
  return outcome.failed ? ExitStatus::NO : ExitStatus::DONE;
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
