// Measures a call without any library: three system calls with bytes made beforehand. No peer can be faster.
#include <poll.h>

#include <cstdio>
#include <cstdlib>

#include <benchmarks/peers/Peer.h>
#include <benchmarks/peers/Socket.h>

// peer-bare call ADDRESS COUNT
int main(int argc, char** argv) try {
  using namespace Peers;
  const std::string address = argc > 3 ? argv[2] : "";
  require(address.starts_with("unix:path=") && std::string_view(argv[1]) == "call",
          "expected call, an address, a count");
  Socket bus(address.substr(10));
  std::string call = header({.path = BOARD_PATH,
                             .interface = BOARD_INTERFACE,
                             .member = "hardreset",
                             .destination = HOST,
                             .sender = {},
                             .signature = {}},
                            0);
  std::string input(std::size_t{1} << 16, '\0');
  const timespec deadline{25, 0};
  repeat(static_cast<std::uint32_t>(std::strtoul(argv[3], nullptr, 10)), [&] {
    const std::uint32_t serial = bus.nextSerial();
    std::memcpy(call.data() + 8, &serial, sizeof serial);
    // The first answer may come after the bus's own greeting.
    for (bool sent = false;;) {
      if (!sent) require(::send(bus.descriptor(), call.data(), call.size(), MSG_NOSIGNAL) > 0, "the bus has gone");
      sent = true;
      pollfd waiting{bus.descriptor(), POLLIN, 0};
      require(::ppoll(&waiting, 1, &deadline, nullptr) == 1, "no answer");
      const ssize_t count = ::recv(bus.descriptor(), input.data(), input.size(), MSG_DONTWAIT);
      require(count > 0, "the bus has gone");
      if (input[1] == 2) return;
      require(input[1] != 3, "the answer is an error");
    }
  });
} catch (const std::exception& error) {
  std::fprintf(stderr, "peer-bare: %s\n", error.what());
  return EXIT_FAILURE;
}
