// The limit of what a library can reach: a codec and a client that are written by hand for the messages of this
// comparison, and can do nothing else. They know each layout beforehand, use their buffers again and serve one thread.
// They make the checks that no careful program leaves out: texts are ASCII without NUL, and received bytes have the
// right byte order, lengths, bounds, alignment and signature.
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <charconv>
#include <cstddef>
#include <cstring>

#include <benchmarks/peers/Peer.h>
#include <benchmarks/peers/Socket.h>

namespace Peers {

/// Tells whether a text is ASCII without NUL. In 1 to 127, neither the byte nor the byte less 1 has its highest bit.
bool isPlain(std::string_view text) {
  std::uint64_t found = 0;
  const auto look = [&found](std::uint64_t bytes) { found |= bytes | (bytes - 0x0101010101010101u); };
  std::uint64_t eight = 0;
  if (text.size() < 8) {
    for (const char byte : text) look(static_cast<std::uint8_t>(byte) | 0x0101010101010100u);
  } else {
    for (std::size_t at = 0; at + 8 < text.size(); at += 8) std::memcpy(&eight, text.data() + at, 8), look(eight);
    std::memcpy(&eight, text.data() + text.size() - 8, 8), look(eight);
  }
  return !(found & 0x8080808080808080u);
}

template <std::size_t TO>
char* align(char* at) {
  std::memset(at, 0, TO);
  return at + (-reinterpret_cast<std::uintptr_t>(at) & (TO - 1));
}

template <class T>
char* put(char* at, T value) {
  if constexpr (sizeof value > 1) at = align<sizeof value>(at);
  std::memcpy(at, &value, sizeof value);
  return at + sizeof value;
}

char* putRaw(char* at, std::string_view bytes) {
  std::memcpy(at, bytes.data(), bytes.size());
  return at + bytes.size();
}

char* putText(char* at, std::string_view text) {
  require(isPlain(text), "a text is not ASCII");
  at = put(at, static_cast<std::uint32_t>(text.size()));
  return put(putRaw(at, text), '\0');
}

void patch(char* at, std::size_t value) {
  const auto narrow = static_cast<std::uint32_t>(value);
  std::memcpy(at, &narrow, sizeof narrow);
}

/// The memory of the message that is being written. The next message uses it again.
class Buffer {
 public:
  char* begin() { return bytes_.data(); }
  /// Makes sure that `size` bytes can follow `at`. Returns where `at` is afterwards.
  char* reserve(char* at, std::size_t size) {
    const auto used = static_cast<std::size_t>(at - bytes_.data());
    if (bytes_.size() - used < size) bytes_.resize(2 * bytes_.size() + size);
    return bytes_.data() + used;
  }

 private:
  std::vector<char> bytes_ = std::vector<char>(4096);
};

/// Writes a command, whose error text is what `prepare` has left of it: the details.
char* putCommand(Buffer& buffer, char* at, const Command& command) {
  constexpr std::size_t FIXED = 128;  // more than all that has a fixed size, with padding
  at = align<8>(buffer.reserve(at, FIXED));
  at = put(put(at, command.id), command.parameterId);
  at = put(put(at, std::uint32_t{command.write}), command.address);
  const std::string_view signature = VALUE_SIGNATURES[command.value.index()];
  at = put(putRaw(put(at, static_cast<std::uint8_t>(signature.size())), signature), '\0');
  at = std::visit(
      [&buffer, at]<class T>(const T& value) {
        if constexpr (std::is_same_v<T, Bytes>) {
          char* to = put(buffer.reserve(at, FIXED + value.size()), static_cast<std::uint32_t>(value.size()));
          return putRaw(to, {reinterpret_cast<const char*>(value.data()), value.size()});
        } else if constexpr (std::is_same_v<T, std::string>) {
          return putText(buffer.reserve(at, FIXED + value.size()), value);
        } else if constexpr (std::is_same_v<T, bool>) {
          return put(at, std::uint32_t{value});
        } else {
          return put(at, value);
        }
      },
      command.value);
  const std::string_view details = command.errorText;
  at = buffer.reserve(at, FIXED + details.size() + command.label.size());
  at = put(put(put(put(at, command.origin), command.context), command.errorType), command.errorId);
  char code[24];
  char* end = std::to_chars(code, std::end(code), unsigned{command.errorType}).ptr;
  *end++ = '/';
  end = std::to_chars(end, std::end(code), command.errorId).ptr;
  if (!details.empty()) *end++ = ':', *end++ = ' ';
  require(isPlain(details), "an error text is not ASCII");
  const auto size = static_cast<std::size_t>(end - code);
  at = put(at, static_cast<std::uint32_t>(size + details.size()));
  at = put(putRaw(putRaw(at, {code, size}), details), '\0');
  at = putText(put(at, command.delay), command.label);
  return put(put(put(at, command.tag), command.status), command.acei);
}

/// Reads a message, or a part of it that begins at its begin.
class Reader {
 public:
  explicit Reader(std::string_view bytes) : begin_(bytes.data()), at_(begin_), end_(begin_ + bytes.size()) {}
  void align(std::size_t to) { take((to - static_cast<std::size_t>(at_ - begin_) % to) % to); }
  const char* take(std::size_t size) {
    require(static_cast<std::size_t>(end_ - at_) >= size, "a message ends early");
    return std::exchange(at_, at_ + size);
  }
  template <class T>
  void get(T& value) {
    if constexpr (sizeof value > 1) align(sizeof value);
    std::memcpy(&value, take(sizeof value), sizeof value);
  }
  template <class T>
  T next() {
    T value;
    get(value);
    return value;
  }
  void get(bool& value) {
    const auto number = next<std::uint32_t>();
    require(number < 2, "a boolean is neither 0 nor 1");
    value = number;
  }
  template <std::size_t N>
  void get(std::array<std::uint8_t, N>& block) {
    require(next<std::uint32_t>() == N, "an identity has another size");
    std::memcpy(block.data(), take(N), N);
  }
  /// A text or, with a length of one byte, a signature.
  template <class Length = std::uint32_t>
  std::string_view text() {
    const std::size_t length = next<Length>();
    const std::string_view text(take(length + 1), length);
    require(text.data()[length] == '\0' && isPlain(text), "a text is not ASCII");
    return text;
  }
  /// The elements of an array, which are aligned to 8.
  Reader array() {
    const auto length = next<std::uint32_t>();
    align(8);
    return Reader(begin_, take(length), length);
  }
  bool atEnd() const { return at_ == end_; }

 private:
  Reader(const char* begin, const char* at, std::size_t size) : begin_(begin), at_(at), end_(at + size) {}

  const char *begin_, *at_, *end_;
};

/// The size of the message that begins with these 16 bytes.
std::size_t sizeOf(const char* fixed) {
  constexpr std::size_t LARGEST = std::size_t{1} << 27;
  const std::size_t fields = wordAt({fixed, 16}, 12), body = wordAt({fixed, 16}, 4);
  require(fixed[0] == 'l' && fixed[3] == 1, "a message has another byte order");
  require(fields <= LARGEST && body <= LARGEST, "a message is too large");
  return 16 + (fields + 7) / 8 * 8 + body;
}

/// A received message, which is complete.
struct Received {
  explicit Received(std::string_view message)
      : type(message[1]), body(message.substr(message.size() - wordAt(message, 4))) {
    Reader fields(message.substr(0, 16 + wordAt(message, 12)));
    for (fields.take(16); !fields.atEnd();) {
      fields.align(8);
      const auto code = fields.next<char>();
      const std::string_view content = fields.text<std::uint8_t>();
      if (content == "u") {
        const auto number = fields.next<std::uint32_t>();
        if (code == 5) replySerial = number;
      } else if (content == "g") {
        signature = fields.text<std::uint8_t>();
      } else {
        const std::string_view text = fields.text();
        if (code == 3) member = text;
      }
    }
  }

  char type;
  std::uint32_t replySerial = 0;
  std::string_view member, signature;
  Reader body;
};

/// Reads a value of this kind, if it has this signature.
template <std::size_t KIND>
bool readValue(Reader& from, std::string_view signature, Value& value) {
  if (signature != VALUE_SIGNATURES[KIND]) return false;
  auto& read = value.emplace<KIND>();
  if constexpr (std::is_same_v<decltype(read), std::string&>) {
    read = from.text();
  } else if constexpr (std::is_same_v<decltype(read), Bytes&>) {
    const auto length = from.next<std::uint32_t>();
    const char* bytes = from.take(length);
    read.assign(bytes, bytes + length);
  } else {
    from.get(read);
  }
  return true;
}

void readCommand(Reader& from, Command& command) {
  from.align(8);
  from.get(command.id), from.get(command.parameterId), from.get(command.write), from.get(command.address);
  const std::string_view signature = from.text<std::uint8_t>();
  const bool known = [&]<std::size_t... KINDS>(std::index_sequence<KINDS...>) {
    return (readValue<KINDS>(from, signature, command.value) || ...);
  }
  (std::make_index_sequence<std::variant_size_v<Value>>());
  require(known, "a value has an unknown type");
  from.get(command.origin), from.get(command.context), from.get(command.errorType), from.get(command.errorId);
  command.errorText = from.text();
  from.get(command.delay);
  command.label = from.text();
  from.get(command.tag), from.get(command.status), from.get(command.acei);
}

void readSensor(Reader& from, Sensor& node) {
  from.align(8);
  from.get(node.address), from.get(node.nodeClass), from.get(node.nodeType), from.get(node.manufacturer);
  from.get(node.first), from.get(node.second), from.get(node.third);
  from.get(node.stamp), from.get(node.state), from.get(node.extra), from.get(node.backbone);
  from.get(node.parameterType), from.get(node.minimum), from.get(node.maximum), from.get(node.scale);
  from.get(node.resolution), from.get(node.resolutionScale), from.get(node.mode), from.get(node.events);
  from.get(node.period), from.get(node.listening);
}

/// The header of a call without arguments, or before arguments of this signature.
std::string callOf(const char* path, const char* interface, const char* member, const char* signature = "",
                   const char* destination = HOST) {
  return header({.path = path,
                 .interface = interface,
                 .member = member,
                 .destination = destination,
                 .sender = {},
                 .signature = signature},
                0);
}

std::string callOfBus(const char* member, const char* signature = "") {
  return callOf("/org/freedesktop/DBus", "org.freedesktop.DBus", member, signature, "org.freedesktop.DBus");
}

class HandWritten {
 public:
  using Node = Sensor;
  static constexpr bool SHARED = false;

  /// The first call sends everything that a bus wants to hear before it.
  explicit HandWritten(const std::string& address) : fd_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    constexpr std::string_view PREFIX = "unix:path=";
    require(address.starts_with(PREFIX), "expected the path of a socket");
    sockaddr_un at{};
    at.sun_family = AF_UNIX;
    address.copy(at.sun_path, sizeof at.sun_path - 1, PREFIX.size());
    require(::connect(fd_, reinterpret_cast<const sockaddr*>(&at), sizeof at) == 0, "there is no bus");
    greeting_.append("\0AUTH EXTERNAL ", 15);
    for (const char digit : std::to_string(::getuid())) greeting_.append({'3', digit});
    greeting_.append("\r\nBEGIN\r\n");
    std::string hello = callOfBus("Hello");
    patch(hello.data() + 8, ++serial_);
    greeting_ += hello;
  }
  ~HandWritten() { ::close(fd_); }
  HandWritten(const HandWritten&) = delete;

  /// What an application has of an error text is the details behind the code.
  static Commands prepare(Commands&& commands) {
    for (Command& command : commands.list) command.errorText = std::string(errorDetails(command));
    return std::move(commands);
  }

  void encode(const Commands& commands) { writeAdd(commands); }
  void send(const Commands& commands) { call(writeAdd(commands)); }
  void add(const Commands& commands) { send(commands); }

  void encodeReport(const Commands& commands) { writeReport(commands); }
  void sendReport(const Commands& commands) { call(writeReport(commands)); }

  std::string receiveAdd(const Commands& commands) { return std::string(writeAdd(commands)); }
  static std::vector<Command> decodeAdd(std::string_view bytes) {
    Received message = readMessage(bytes);
    require(message.signature == ADD_SIGNATURE, "a call has another signature");
    message.body.text();
    message.body.align(8);
    message.body.text();
    std::vector<Command> commands;
    for (Reader list = message.body.array(); !list.atEnd();) readCommand(list, commands.emplace_back());
    return commands;
  }
  static bool same(const Command& command, const Command& expected) { return command == expected; }

  static std::string receive(std::uint32_t iteration, std::uint32_t count) { return nodeReply(iteration, count); }
  static Sensors decode(std::string_view bytes) { return readSensors(readMessage(bytes)); }

  bool call() {
    Received reply = call(write(HARD_RESET));
    require(reply.signature == "b", "an answer has another signature");
    bool yes = false;
    reply.body.get(yes);
    return yes;
  }

  Sensors list() { return readSensors(call(write(GET_NODES))); }

  template <class Use>
  void signals(std::uint32_t count, const Use& use) {
    if (!std::exchange(subscribed_, true)) {
      char* at = begin(ADD_MATCH);
      call(seal(ADD_MATCH, putText(buffer_.reserve(at, 1024), MODIFIED_RULE)));
    }
    call(seal(FLOOD, put(begin(FLOOD), count)));
    while (count) {
      Received signal = next();
      if (signal.type != 4 || signal.member != "modified") continue;
      require(signal.signature == MODIFIED_SIGNATURE, "a signal has another signature");
      Sensor node;
      readSensor(signal.body, node);
      signal.body.next<std::uint8_t>();
      use(node);
      --count;
    }
  }

  /// Sends as many calls at once as answers came at once.
  void calls(std::uint32_t count, std::uint32_t width) {
    std::string batch;
    for (std::uint32_t begun = 0, over = 0, room = width; over < count;) {
      if (!isNextComplete()) {
        batch.clear();
        for (; room && begun < count; --room, ++begun) {
          batch += HARD_RESET;
          patch(batch.data() + batch.size() - HARD_RESET.size() + 8, ++serial_);
        }
        if (!batch.empty()) send(batch);
      }
      Received reply = next();
      require(reply.type != 3, "the answer is an error");
      if (reply.type != 2 || reply.signature != "b") continue;  // what the bus says at the beginning
      bool yes = false;
      reply.body.get(yes);
      require(yes, "the answer to a call was no");
      ++over, ++room;
    }
  }

  static bool same(const Sensor& node, const Sensor& expected) { return node == expected; }

 private:
  char* begin(const std::string& head) { return putRaw(buffer_.begin(), head); }
  std::string_view seal(const std::string& head, char* end) {
    const auto size = static_cast<std::size_t>(end - buffer_.begin());
    patch(buffer_.begin() + 4, size - head.size());
    patch(buffer_.begin() + 8, ++serial_);
    return {buffer_.begin(), size};
  }
  std::string_view write(const std::string& head) { return seal(head, begin(head)); }

  std::string_view writeAdd(const Commands& commands) {
    char* at = buffer_.reserve(begin(ADD), 1024);
    at = putText(align<8>(putText(at, ORIGINATOR_PATH)), commands.group);
    at = put(at, std::uint32_t{0});
    const auto length = at - 4 - buffer_.begin();
    at = align<8>(at);
    const auto first = at - buffer_.begin();
    for (const Command& command : commands.list) at = putCommand(buffer_, at, command);
    patch(buffer_.begin() + length, static_cast<std::size_t>(at - buffer_.begin() - first));
    return seal(ADD, at);
  }

  std::string_view writeReport(const Commands& commands) {
    char* at = putCommand(buffer_, begin(REPORT), commands.list.front());
    at = putText(align<8>(buffer_.reserve(at, 1024)), commands.group);
    return seal(REPORT, put(at, std::int32_t{1}));
  }

  static Sensors readSensors(Received message) {
    require(message.signature == NODES_SIGNATURE, "a list has another signature");
    Sensors nodes;
    for (Reader list = message.body.array(); !list.atEnd();)
      readSensor(list, *nodes.emplace_back(std::make_unique<Sensor>()));
    return nodes;
  }

  void send(std::string_view bytes) {
    if (!greeting_.empty()) {
      const std::string all = std::exchange(greeting_, {}).append(bytes);
      return send(all);
    }
    while (!bytes.empty()) {
      const ssize_t sent = ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      require(sent > 0, "the bus has gone");
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  /// Sends the message that was sealed last, and waits for its answer.
  Received call(std::string_view message) {
    const std::uint32_t serial = serial_;
    send(message);
    for (;;) {
      const Received reply = next();
      if (reply.replySerial != serial) continue;
      require(reply.type == 2, "the answer is an error");
      return reply;
    }
  }

  /// The next message, which is valid until the next call of this function.
  Received next() {
    while (!isNextComplete()) receive();
    const std::string_view message(input_.data() + taken_, sizeOf(input_.data() + taken_));
    taken_ += message.size();
    return Received(message);
  }

  static Received readMessage(std::string_view bytes) {
    require(bytes.size() >= 16 && bytes.size() == sizeOf(bytes.data()), "a message has another size");
    return Received(bytes);
  }

  bool isNextComplete() const {
    return filled_ - taken_ >= 16 && isAccepted_ && filled_ - taken_ >= sizeOf(input_.data() + taken_);
  }

  void receive() {
    std::memmove(input_.data(), input_.data() + taken_, filled_ - taken_);
    filled_ -= std::exchange(taken_, 0);
    if (filled_ == input_.size()) input_.resize(2 * filled_);
    const timespec patience{25, 0};
    pollfd waiting{fd_, POLLIN, 0};
    require(::ppoll(&waiting, 1, &patience, nullptr) == 1, "no answer");
    const ssize_t count = ::recv(fd_, input_.data() + filled_, input_.size() - filled_, MSG_DONTWAIT);
    require(count > 0, "the bus has gone");
    filled_ += static_cast<std::size_t>(count);
    if (isAccepted_) return;
    const std::string_view line(input_.data(), filled_);
    if (line.find("\r\n") == line.npos) return;
    require(line.starts_with("OK "), "the bus refuses");
    taken_ = line.find("\r\n") + 2;
    isAccepted_ = true;
  }

  const std::string ADD = callOf(COMMAND_PATH, COMMAND_INTERFACE, "add", ADD_SIGNATURE);
  const std::string REPORT = callOf(ORIGINATOR_PATH, REPORT_INTERFACE, "progress", REPORT_SIGNATURE);
  const std::string HARD_RESET = callOf(BOARD_PATH, BOARD_INTERFACE, "hardreset");
  const std::string GET_NODES = callOf(NODE_PATH, NODE_INTERFACE, "getnodes");
  const std::string FLOOD = callOf(NODE_PATH, NODE_INTERFACE, "flood", "u");
  const std::string ADD_MATCH = callOfBus("AddMatch", "s");
  int fd_;
  std::string greeting_;
  std::uint32_t serial_ = 0;
  bool isAccepted_ = false, subscribed_ = false;
  Buffer buffer_;
  std::vector<char> input_ = std::vector<char>(std::size_t{1} << 18);
  std::size_t taken_ = 0, filled_ = 0;
};

}  // namespace Peers

int main(int argc, char** argv) { return Peers::run<Peers::HandWritten>(argc, argv); }
