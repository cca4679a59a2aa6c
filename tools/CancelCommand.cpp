// hevractl cancel: asks the service to cancel commands; it does not wait until they end.
#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <cli/Number.h>
#include <cli/Output.h>
#include <proxy/command/Manager.h>
#include <tools/Commands.h>

namespace Quarnix::Hevra::Tools {

namespace {

struct Choice {
  bool all = false;
  std::optional<std::string> key;
  std::optional<std::uint32_t> priority;
};

/// Asks whether to cancel everything, where somebody can answer.
bool isWanted() {
  if (!::isatty(STDIN_FILENO) || !::isatty(STDERR_FILENO)) return true;
  std::cerr << "hevractl: cancel all commands of all applications? [y/N] " << std::flush;
  std::string answer;
  std::getline(std::cin, answer);
  return answer == "y" || answer == "Y" || answer == "yes";
}

ExitStatus cancel(const Context& context, const Choice& choice) {
  if (!choice.all && !choice.key && !choice.priority && !isWanted()) {
    Cli::Output::printError("nothing was cancelled; --key cancels one command");
    return ExitStatus::NO;
  }
  Proxy::Command::Manager manager(context.isZuv(), context.application);
  context.connect(manager);
  std::string what = "every command";
  if (choice.key) what = "the command " + *choice.key;
  if (choice.priority) what = "the commands of priority " + std::to_string(*choice.priority);
  context.await<void>([&](auto handler) {
    if (choice.key) return manager.cancelAsync(*choice.key, std::move(handler));
    if (choice.priority)
      return manager.cancelAsync(HomeAutomation::Command::Priority(*choice.priority), std::move(handler));
    return manager.cancelAsync(std::move(handler));
  });
  context.print({{"done", true}}, "The service was asked to cancel " + what + ".");
  return ExitStatus::DONE;
}

}  // namespace

void addCancel(CLI::App& app, Context& context) {
  const auto choice = std::make_shared<Choice>();
  CLI::App& command =
      addCommand(app, "cancel", "Cancels everything, one key, or one priority", "hevractl cancel --key g1_7");
  CLI::Option* all = command.add_flag("--all", choice->all, "Does not ask before it cancels everything");
  CLI::Option* key = command.add_option("--key", choice->key, "The command's group, '_' and its identifier");
  key->type_name("KEY")->excludes(all);
  command
      .add_option_function<std::string>(
          "--priority",
          [choice](const std::string& text) {
            choice->priority = static_cast<std::uint32_t>(Cli::readNumber("--priority", text, UINT32_MAX));
          },
          "The priority of the commands")
      ->type_name("N")
      ->excludes(key)
      ->excludes(all);
  command.callback(
      [&context, choice] { context.chosen = [choice](const Context& chosen) { return cancel(chosen, *choice); }; });
}

}  // namespace Quarnix::Hevra::Tools
