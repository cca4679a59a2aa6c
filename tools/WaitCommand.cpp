// hevractl wait: waits until the service is there; the bus need not be there yet.
#include <memory>
#include <optional>
#include <string>

#include <cli/Number.h>
#include <cli/Output.h>
#include <platform/bus/ConnectionObserver.h>
#include <platform/core/time/Clock.h>
#include <stack/Variant.h>
#include <tools/Commands.h>
#include <tools/Peer.h>

namespace Quarnix::Hevra::Tools {

namespace {

/// Hears when the service is there.
class Arrival : public Bus::ConnectionObserver {
 public:
  Arrival(const Shared::Pointer<Bus::Connection>& connection, const std::string& service, Cli::Loop& loop)
      : ConnectionObserver(connection, {service}), loop_(loop) {}
  ~Arrival() override { retire(); }

  bool hasCome() const noexcept { return hasCome_; }

 private:
  void serviceUp(const std::string&, const std::string&) override {
    hasCome_ = true;
    loop_.wake();
  }

  Cli::Loop& loop_;
  bool hasCome_ = false;
};

/// Returns why the service is not there.
std::string absence(const Context& context, const Shared::Pointer<Bus::Connection>& connection,
                    const std::string& service) {
  try {
    if (Peer(context, connection, Peer::TIMEOUT).ownerOf(service).empty()) return "nobody owns " + service;
    return "it has come just now";
  } catch (const Bus::Message::Method::Return& error) {
    return error.getErrorText();
  }
}

ExitStatus wait(const Context& context, const std::optional<Time::Elapsed>& limit) {
  const auto connection = context.openBus(false);
  const std::string service = Stack::busNameOf(context.variant);
  Arrival arrival(connection, service, context.loop);
  arrival.start();
  const Time::Monotonic deadline = limit ? Time::Clock::get().now() + *limit : Time::Monotonic::never();
  if (!context.loop.runUntil([&] { return arrival.hasCome(); }, deadline)) context.loop.obeySignal();
  const bool there = arrival.hasCome();
  if (there || context.json) context.print({{"available", there}}, "The service is there: " + service + ".");
  if (there) return ExitStatus::DONE;
  Cli::Output::printError("gave up waiting after " + Cli::inSeconds(*limit) +
                          " s: " + absence(context, connection, service) + "; '" + context.commandLine("doctor") +
                          "' looks for the cause");
  return ExitStatus::GAVE_UP;
}

}  // namespace

void addWait(CLI::App& app, Context& context) {
  const auto limit = std::make_shared<std::optional<Time::Elapsed>>();
  CLI::App& command =
      addCommand(app, "wait", "Waits until the service is there", "hevractl wait --timeout 30 && hevractl nodes");
  command
      .add_option_function<std::string>(
          "--timeout", [limit](const std::string& text) { *limit = Cli::readSeconds("--timeout", text); },
          "How many seconds to wait at the most [for ever]")
      ->type_name("SECONDS");
  command.callback([&context, limit] {
    if (!*limit && context.timeout > Time::Elapsed()) *limit = context.timeout;
    context.chosen = [limit](const Context& chosen) { return wait(chosen, *limit); };
  });
}

}  // namespace Quarnix::Hevra::Tools
