// hevractl cancel: asks the service to cancel commands; it does not wait until they end.
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <cli/Number.h>
#include <proxy/command/Manager.h>
#include <tools/Commands.h>

namespace Quarnix::Hevra::Tools {

namespace {

struct Choice {
  std::optional<std::string> key;
  std::optional<std::uint32_t> priority;
};

ExitStatus cancel(const Context& context, const Choice& choice) {
  Proxy::Command::Manager manager(context.isZuv(), context.application);
  manager.setConnection(context.openBus());
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
  CLI::Option* key = command.add_option("--key", choice->key, "The command's group, '_' and its identifier");
  key->type_name("KEY");
  command
      .add_option_function<std::string>(
          "--priority",
          [choice](const std::string& text) {
            choice->priority = static_cast<std::uint32_t>(Cli::readNumber("--priority", text, UINT32_MAX));
          },
          "The priority of the commands")
      ->type_name("N")
      ->excludes(key);
  command.callback(
      [&context, choice] { context.chosen = [choice](const Context& chosen) { return cancel(chosen, *choice); }; });
}

}  // namespace Quarnix::Hevra::Tools
