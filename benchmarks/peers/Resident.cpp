// Prints its resident size in KiB: that of a client with three started managers (peer-resident ADDRESS), which are on a
// dispatcher with a second argument, or, compiled with PEERS_EMPTY, that of a program that does nothing.
#include <cstdio>

#include <benchmarks/ProcessStatus.h>

#ifndef PEERS_EMPTY
#include <optional>

#include <platform/core/Dispatcher.h>
#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>
#endif

int main([[maybe_unused]] int argc, [[maybe_unused]] char** argv) {
#ifndef PEERS_EMPTY
  namespace Proxy = Quarnix::Hevra::Proxy;
  std::optional<Quarnix::Dispatcher> dispatcher;
  if (argc > 2) Quarnix::Dispatcher::setDefault(&dispatcher.emplace());
  Quarnix::Bus::Connection::setDefault(Quarnix::Bus::Connection::open(argv[1]));
  Proxy::Command::Manager commands(false, "bench");
  Proxy::Node::Manager nodes(false);
  Proxy::DaughterBoard::Manager board;
  commands.start(true);
  nodes.start(true);
  board.start(true);
  if (dispatcher) dispatcher->dispatch();
#endif
  std::printf("%ld\n", Benchmarks::processStatus("VmRSS:"));
}
