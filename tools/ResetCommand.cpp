// hevractl reset: resets the radio daughter board.
#include <utility>

#include <proxy/daughterboard/Manager.h>
#include <tools/Commands.h>

namespace Quarnix::Hevra::Tools {

namespace {

ExitStatus reset(const Context& context) {
  Proxy::DaughterBoard::Manager manager;
  context.connect(manager);
  const bool done = context.await<bool>([&](auto handler) { return manager.hardResetAsync(std::move(handler)); });
  context.print({{"reset", done}}, done ? "The daughter board was reset." : "The daughter board was not reset.");
  return done ? ExitStatus::DONE : ExitStatus::NO;
}

}  // namespace

void addReset(CLI::App& app, Context& context) {
  addCommand(app, "reset", "Resets the radio daughter board", "hevractl reset").callback([&context] {
    context.chosen = reset;
  });
}

}  // namespace Quarnix::Hevra::Tools
