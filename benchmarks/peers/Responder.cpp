// The service that all peers call. It uses a bare socket and answers with bytes made beforehand, so it adds very little
// to the measurements. It can write the body of every "add" and "progress" to a file, and can pause before each answer.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include <benchmarks/peers/Socket.h>

namespace {

using namespace Peers;

/// The text of a header field.
std::string_view headerField(std::string_view message, char wanted) {
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
    // Eight different lists, which it sends in turn.
    for (std::uint32_t i = 0; i < 8; ++i) lists_.push_back(nodeList(i, nodes));
    Wire name;
    name.text(HOST);
    name.put(std::uint32_t{4});
    bus_.callBus("RequestName", "su", name.bytes());
  }

  [[noreturn]] void run() {
    for (;; bus_.take(size_)) {
      const std::string_view message = bus_.nextMessage();
      size_ = message.size();
      if (message[1] == 1) answer(message);
    }
  }

 private:
  void answer(std::string_view message) {
    const std::string_view member = headerField(message, 3), body = message.substr(message.size() - wordAt(message, 4));
    if (pause_.count()) std::this_thread::sleep_for(pause_);
    if (member == "hardreset") {
      reply(message, "b", std::string("\1\0\0\0", 4));
    } else if (member == "getnodes") {
      reply(message, LIST, lists_[next_++ % lists_.size()]);
    } else {
      if (record_ && (member == "add" || member == "progress"))
        std::fwrite(body.data(), 1, body.size(), record_), std::fflush(record_);
      reply(message, "", "");
      if (member == "flood") flood(wordAt(body, 0));
    }
  }

  void reply(std::string_view call, std::string_view signature, std::string_view body) {
    const Head head{.type = 2,
                    .serial = bus_.nextSerial(),
                    .replySerial = wordAt(call, 8),
                    .path = {},
                    .interface = {},
                    .member = {},
                    .destination = headerField(call, 7),
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
                      .serial = bus_.nextSerial(),
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
