// hevractl wait: waits until the service is there; the bus need not be there yet.
#include <memory>
#include <optional>
#include <string>

#include <cli/Number.h>
#include <cli/Output.h>
#include <platform/core/time/Clock.h>
#include <proxy/command/Manager.h>
#include <tools/Commands.h>

namespace Quarnix::Hevra::Tools {

namespace {

/// Returns why the service is not there.
std::string absence(const Bus::Object::Proxy& service) {
  try {
    if (service.getConnection()->getNameOwner(service.getHost()).empty()) return "nobody owns " + service.getHost();
    return "it has come just now";
  } catch (const Bus::Message::Method::Return& error) {
    return error.getErrorText();
  }
}

ExitStatus wait(const Context& context, const std::optional<std::uint32_t>& seconds) {
  Proxy::Command::Manager service(context.isZuv(), context.application);
  service.setConnection(context.openBus());
  const Time::Monotonic deadline =
      seconds ? Time::Clock::get().now() + Time::Elapsed(*seconds, 0) : Time::Monotonic::never();
  const bool there = service.waitForService(deadline);
  if (there || context.json) context.print({{"available", there}}, "The service is there: " + service.getHost() + ".");
  if (there) return ExitStatus::DONE;
  Cli::Output::printError("gave up waiting after " + std::to_string(*seconds) + " s: " + absence(service) +
                          "; 'hevractl doctor' looks for the cause");
  return ExitStatus::GAVE_UP;
}

}  // namespace

void addWait(CLI::App& app, Context& context) {
  const auto seconds = std::make_shared<std::optional<std::uint32_t>>();
  CLI::App& command =
      addCommand(app, "wait", "Waits until the service is there", "hevractl wait --timeout 30 && hevractl nodes");
  command
      .add_option_function<std::string>(
          "--timeout", [seconds](const std::string& text) { Cli::numberInto("--timeout", seconds->emplace())(text); },
          "How many seconds to wait at the most [for ever]")
      ->type_name("SECONDS");
  command.callback(
      [&context, seconds] { context.chosen = [seconds](const Context& chosen) { return wait(chosen, *seconds); }; });
}

}  // namespace Quarnix::Hevra::Tools
