// What the tests of the simulated stack share: a stack, and an application made of the real managers.
#pragma once

#include <map>
#include <string>
#include <vector>

#include <proxy/command/CommandContainerList.h>
#include <proxy/daughterboard/Manager.h>
#include <stack/FakeStack.h>
#include <tests/proxy/Support.h>

namespace Quarnix::Hevra::Stack::Test {

using namespace Hevra::Proxy::Test;
using Commands = Hevra::Proxy::CommandContainerList;

inline constexpr const char* BOARD_PATH = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard";

/// Commands with the identifiers from 1 to `count` and nothing else.
inline std::vector<Command> commands(std::uint32_t count) {
  std::vector<Command> made(count);
  for (std::uint32_t id = 1; id <= count; ++id) made[id - 1].setId(id);
  return made;
}

/// Notes each report as "status/summary@milliseconds" under the command's key, and then does what it is told to.
struct Originator : Interface::Command::Originator {
  void progress(const Command& command, const Group& group, const HomeAutomation::Command::Status& status) override {
    std::string& text = reports[group.getId() + "_" + std::to_string(command.getId())];
    text += (text.empty() ? "" : " ") + std::to_string(static_cast<int>(command.getStatus())) + "/" +
            std::to_string(static_cast<int>(status)) + "@" +
            std::to_string((Time::Clock::get().now() - began).getNanoseconds() / 1'000'000);
    if (then) then();
  }

  const Time::Monotonic began = Time::Clock::get().now();
  std::map<std::string, std::string> reports;
  std::function<void()> then;
};

/// The reports of a command without a delay at a pace of 200 ms are "1/1@0 2/1@200 3/2@400".
class StackTest : public testing::Test {
 protected:
  StackTest() {
    hevra.start(true);
    zuv.start(true);
    watcher.start(true);
  }
  void advance(std::int64_t milliseconds) { stack.advance(std::chrono::milliseconds(milliseconds)); }
  /// To a fresh originator, or to the one that is given.
  Shared::Pointer<Originator> add(const std::string& group, const std::vector<Command>& commands,
                                  Shared::Pointer<Originator> to = Shared::make<Originator>()) {
    hevra.add(to, Group(group), Commands(commands.begin(), commands.end()));
    return to;
  }
  std::string reset() {
    return outcomeOf([this] { return board.hardReset() ? "true" : "false"; });
  }

  LoggedLines lines;
  FakeStack stack;
  Listening hevra{false, "app"}, zuv{true, "app"};
  Watcher watcher{false};
  Hevra::Proxy::DaughterBoard::Manager board;
};

}  // namespace Quarnix::Hevra::Stack::Test
