// Prints how many KiB of it are resident: of a client with all three managers started (RESIDENT ADDRESS), or, compiled
// with PEERS_EMPTY, of a program that does nothing.
#include <fstream>
#include <iostream>
#include <string>

#ifndef PEERS_EMPTY
#include <optional>

#include <proxy/command/Manager.h>
#include <proxy/daughterboard/Manager.h>
#include <proxy/node/Manager.h>
#endif

int main([[maybe_unused]] int argc, [[maybe_unused]] char** argv) {
#ifndef PEERS_EMPTY
  namespace Proxy = Quarnix::Hevra::Proxy;
  Quarnix::Bus::Connection::setDefault(Quarnix::Bus::Connection::open(argv[1]));
  Proxy::Command::Manager commands(false, "bench");
  Proxy::Node::Manager nodes(false);
  Proxy::DaughterBoard::Manager board;
  commands.start(true);
  nodes.start(true);
  board.start(true);
#endif
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmRSS:")) std::cout << std::stol(line.substr(6)) << '\n';
}
