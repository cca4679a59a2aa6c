// Resets the daughter board and lists the nodes. Prints errors.
#include <cstdio>
#include <platform/bus/message/method/Return.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>
using namespace Quarnix;

int main() try {
  Hevra::Proxy::DaughterBoard::Manager board;
  std::printf("reset: %s\n", board.hardReset() ? "yes" : "no");

  const Hevra::Proxy::Node::Manager nodes(false);
  for (const auto& node : nodes.getNodes())
    std::printf("node 0x%x, state %d\n", unsigned{node->getAddress()}, node->getState());
} catch (const Bus::Message::Method::Return& error) {  // an error reply of the service or the bus
  std::fprintf(stderr, "%s: %s\n", error.getErrorName(), error.getErrorText());
  return 3;
} catch (const Exception& error) {  // the library's own errors
  std::fprintf(stderr, "%s: %s\n", error.getId(), error.what());
  return 1;
}
