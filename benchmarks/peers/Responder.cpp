// The service that all peers call: answers at once with bytes made beforehand, so that next to nothing of what is
// measured is its own. It speaks to the bus over a bare socket. With a file given, the body of every "add" is kept
// there; with a pause, every call waits so long for its answer.
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <benchmarks/peers/Wire.h>

namespace {

using namespace Peers;

class Socket {
 public:
  explicit Socket(const std::string& path) : fd_(::socket(AF_UNIX, SOCK_STREAM, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(fd_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
      throw std::runtime_error("no bus at " + path);
  }
  ~Socket() { ::close(fd_); }

  void write(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) throw std::runtime_error("the bus has gone");
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
  }
  /// The first `size` bytes that were not yet taken.
  std::string_view peek(std::size_t size) {
    while (input_.size() - taken_ < size) {
      input_.erase(0, taken_);
      taken_ = 0;
      const std::size_t before = input_.size();
      input_.resize(before + (std::size_t{1} << 18));
      const ssize_t count = ::recv(fd_, input_.data() + before, input_.size() - before, 0);
      if (count <= 0) throw std::runtime_error("the bus has gone");
      input_.resize(before + static_cast<std::size_t>(count));
    }
    return std::string_view(input_).substr(taken_, size);
  }
  void take(std::size_t size) { taken_ += size; }

 private:
  int fd_;
  std::string input_;
  std::size_t taken_ = 0;
};

std::uint32_t wordAt(std::string_view bytes, std::size_t at) {
  std::uint32_t word = 0;
  std::memcpy(&word, bytes.data() + at, sizeof word);
  return word;
}

/// The whole message at the beginning of the input; little-endian, as all peers write on this machine.
std::string_view nextMessage(Socket& bus) {
  const std::string_view fixed = bus.peek(16);
  const std::size_t size = 16 + (wordAt(fixed, 12) + 7) / 8 * 8 + wordAt(fixed, 4);
  return bus.peek(size);
}

/// The text of a header field.
std::string_view fieldOf(std::string_view message, char wanted) {
  for (std::size_t at = 16, end = 16 + wordAt(message, 12); at < end; at = (at + 7) / 8 * 8) {
    const char code = message[at], type = message[at + 2];
    at += 4;
    if (type == 'u') {
      at += 4;
      continue;
    }
    const std::size_t prefix = type == 'g' ? 1 : 4;
    const std::size_t length = type == 'g' ? static_cast<std::uint8_t>(message[at]) : wordAt(message, at);
    if (code == wanted) return message.substr(at + prefix, length);
    at += prefix + length + 1;
  }
  return {};
}

class Service {
 public:
  Service(const std::string& path, std::uint32_t nodes, std::FILE* record, std::chrono::microseconds pause)
      : bus_(path), record_(record), pause_(pause) {
    // Every list is another one, until the eighth.
    for (std::uint32_t i = 0; i < 8; ++i) lists_.push_back(nodeList(i, nodes));
    const std::string user = std::to_string(::getuid());
    bus_.write(std::string_view("\0AUTH EXTERNAL ", 15));
    for (const char digit : user) bus_.write({"3", 1}), bus_.write({&digit, 1});
    bus_.write("\r\n");
    std::size_t size = 1;
    while (!bus_.peek(size).ends_with('\n')) ++size;
    if (!bus_.peek(size).starts_with("OK ")) throw std::runtime_error("the bus refuses");
    bus_.take(size);
    bus_.write("BEGIN\r\n");
    callBus("Hello", "", "");
    Wire name;
    name.text(HOST);
    name.put(std::uint32_t{4});
    callBus("RequestName", "su", name.bytes());
  }

  [[noreturn]] void run() {
    for (;; bus_.take(size_)) {
      const std::string_view message = nextMessage(bus_);
      size_ = message.size();
      if (message[1] == 1) answer(message);
    }
  }

 private:
  void callBus(std::string_view member, std::string_view signature, const std::string& body) {
    const Head head{.serial = ++serial_,
                    .path = "/org/freedesktop/DBus",
                    .interface = "org.freedesktop.DBus",
                    .member = member,
                    .destination = "org.freedesktop.DBus",
                    .sender = {},
                    .signature = signature};
    bus_.write(header(head, body.size()) + body);
    for (bool answered = false; !answered; bus_.take(size_)) {
      const std::string_view message = nextMessage(bus_);
      size_ = message.size();
      if (message[1] == 3) throw std::runtime_error("the bus refuses a " + std::string(member));
      answered = message[1] == 2;
    }
  }

  void answer(std::string_view message) {
    const std::string_view member = fieldOf(message, 3), body = message.substr(message.size() - wordAt(message, 4));
    if (pause_.count()) std::this_thread::sleep_for(pause_);
    if (member == "hardreset") {
      reply(message, "b", std::string("\1\0\0\0", 4));
    } else if (member == "getnodes") {
      reply(message, LIST, lists_[next_++ % lists_.size()]);
    } else {
      if (member == "add" && record_) std::fwrite(body.data(), 1, body.size(), record_), std::fflush(record_);
      reply(message, "", "");
      if (member == "flood") flood(wordAt(body, 0));
    }
  }

  void reply(std::string_view call, std::string_view signature, std::string_view body) {
    const Head head{.type = 2,
                    .serial = ++serial_,
                    .replySerial = wordAt(call, 8),
                    .path = {},
                    .interface = {},
                    .member = {},
                    .destination = fieldOf(call, 7),
                    .sender = {},
                    .signature = signature};
    std::string bytes = header(head, body.size());
    if (body.size() < 1024) return bus_.write(bytes.append(body));
    bus_.write(bytes);
    bus_.write(body);
  }

  void flood(std::uint32_t count) {
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::string body = modifiedBody(i);
      const Head head{.type = 4,
                      .serial = ++serial_,
                      .path = NODE_PATH,
                      .interface = NODE_INTERFACE,
                      .member = "modified",
                      .destination = {},
                      .sender = {},
                      .signature = MODIFIED};
      bus_.write(header(head, body.size()) + body);
    }
  }

  const std::string LIST = std::string("a") + SENSOR_SIGNATURE, MODIFIED = std::string(SENSOR_SIGNATURE) + "y";
  Socket bus_;
  std::FILE* record_;
  std::chrono::microseconds pause_;
  std::vector<std::string> lists_;
  std::size_t next_ = 0, size_ = 0;
  std::uint32_t serial_ = 0;
};

}  // namespace

// peer-responder SOCKET [FILE [MICROSECONDS]]
int main(int argc, char** argv) try {
  if (argc < 2) throw std::runtime_error("expected the path of the bus's socket");
  Service service(argv[1], 1000, argc > 2 ? std::fopen(argv[2], "wb") : nullptr,
                  std::chrono::microseconds(argc > 3 ? std::strtol(argv[3], nullptr, 10) : 0));
  std::puts("ready");
  std::fflush(stdout);
  service.run();
} catch (const std::exception& error) {
  std::fprintf(stderr, "peer-responder: %s\n", error.what());
  return EXIT_FAILURE;
}
