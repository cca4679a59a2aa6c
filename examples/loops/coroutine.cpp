// Coroutines on a dispatcher: the calls stand in a row as if each waited, and the thread is free meanwhile.
#include <cstdio>

#include <examples/loops/Awaited.h>
#include <examples/loops/Routine.h>
#include <platform/core/Dispatcher.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>

using namespace Quarnix;
using Nodes = Hevra::Proxy::Node::Manager::Nodes;

namespace {

Routine report(Dispatcher& dispatcher, Hevra::Proxy::DaughterBoard::Manager& board,
               Hevra::Proxy::Node::Manager& manager) {
  try {
    const bool reset = co_await Awaited<bool>([&](auto handler) { return board.hardResetAsync(std::move(handler)); });
    std::printf("reset: %s\n", reset ? "yes" : "no");
    const Nodes nodes =
        co_await Awaited<Nodes>([&](auto handler) { return manager.getNodesAsync(std::move(handler)); });
    for (const auto& node : nodes) std::printf("node 0x%x\n", unsigned{node->getAddress()});
  } catch (const std::exception& error) {
    std::printf("%s\n", error.what());
  }
  dispatcher.quit();
}

}  // namespace

int main() {
  Dispatcher dispatcher;
  Dispatcher::setDefault(&dispatcher);  // before anything is used
  Hevra::Proxy::DaughterBoard::Manager board;
  Hevra::Proxy::Node::Manager nodes(false);
  report(dispatcher, board, nodes);
  dispatcher.run();
}
