// The peer of sd-bus. It appends and reads arguments one by one, which is faster than formats, and byte arrays as a
// whole. sd-bus checks a body while it reads it, so a message that was sealed and rewound costs as much as a received
// one, except for the header.
#include <systemd/sd-bus.h>

#include <benchmarks/peers/Peer.h>

namespace Peers {

constexpr const char* COMMAND_CONTENT = "utbuviiyisusuyy";
constexpr const char* SENSOR_CONTENT = "uyqyayayaytyuuyqqyyyyyqb";

void check(int result) {
  if (result < 0) throw std::runtime_error(std::strerror(-result));
}

class Message {
 public:
  Message() = default;
  Message(Message&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}
  ~Message() { sd_bus_message_unref(message_); }
  operator sd_bus_message*() const { return message_; }
  sd_bus_message** operator&() { return &message_; }

 private:
  sd_bus_message* message_ = nullptr;
};

void readSensor(sd_bus_message* message, Sensor& node) {
  const auto read = [message](char type, auto& value) { check(sd_bus_message_read_basic(message, type, &value)); };
  const auto block = [message](auto& to) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    check(sd_bus_message_read_array(message, 'y', &bytes, &size));
    require(size == to.size(), "an identity has another size");
    std::memcpy(to.data(), bytes, size);
  };
  check(sd_bus_message_enter_container(message, 'r', SENSOR_CONTENT));
  read('u', node.address), read('y', node.nodeClass), read('q', node.nodeType), read('y', node.manufacturer);
  block(node.first), block(node.second), block(node.third);
  read('t', node.stamp), read('y', node.state), read('u', node.extra), read('u', node.backbone);
  read('y', node.parameterType), read('q', node.minimum), read('q', node.maximum), read('y', node.scale);
  read('y', node.resolution), read('y', node.resolutionScale), read('y', node.mode), read('y', node.events);
  read('q', node.period);
  int listening = 0;
  read('b', listening);
  node.listening = listening;
  check(sd_bus_message_exit_container(message));
}

void appendText(sd_bus_message* message, const std::string& text) {
  check(sd_bus_message_append_basic(message, 's', text.c_str()));
}

void appendCommand(sd_bus_message* message, const Command& command) {
  const auto append = [message](char type, const auto& value) {
    check(sd_bus_message_append_basic(message, type, &value));
  };
  check(sd_bus_message_open_container(message, 'r', COMMAND_CONTENT));
  append('u', command.id), append('t', command.parameterId), append('b', int{command.write});
  append('u', command.address);
  const char* signature = VALUE_SIGNATURES[command.value.index()];
  check(sd_bus_message_open_container(message, 'v', signature));
  std::visit(
      [&]<class T>(const T& value) {
        if constexpr (std::is_same_v<T, Bytes>)
          check(sd_bus_message_append_array(message, 'y', value.data(), value.size()));
        else if constexpr (std::is_same_v<T, std::string>)
          appendText(message, value);
        else if constexpr (std::is_same_v<T, bool>)
          append('b', int{value});
        else
          append(*signature, value);
      },
      command.value);
  check(sd_bus_message_close_container(message));
  append('i', command.origin), append('i', command.context), append('y', command.errorType);
  append('i', command.errorId), appendText(message, command.errorText), append('u', command.delay);
  appendText(message, command.label), append('u', command.tag), append('y', command.status);
  append('y', command.acei);
  check(sd_bus_message_close_container(message));
}

/// Reads a value of this kind, if it has this signature.
template <std::size_t KIND>
bool readValue(sd_bus_message* message, std::string_view signature, Value& value) {
  if (signature != VALUE_SIGNATURES[KIND]) return false;
  using T = std::variant_alternative_t<KIND, Value>;
  if constexpr (std::is_same_v<T, Bytes>) {
    const void* bytes = nullptr;
    std::size_t size = 0;
    check(sd_bus_message_read_array(message, 'y', &bytes, &size));
    value.emplace<KIND>(static_cast<const std::uint8_t*>(bytes), static_cast<const std::uint8_t*>(bytes) + size);
  } else {
    std::conditional_t<std::is_same_v<T, bool>, int, std::conditional_t<std::is_same_v<T, std::string>, const char*, T>>
        read{};
    check(sd_bus_message_read_basic(message, *VALUE_SIGNATURES[KIND], &read));
    if constexpr (std::is_same_v<T, bool>)
      value.emplace<KIND>(read != 0);
    else
      value.emplace<KIND>(read);
  }
  return true;
}

void readCommand(sd_bus_message* message, Command& command) {
  const auto read = [message](char type, auto& value) { check(sd_bus_message_read_basic(message, type, &value)); };
  const auto readText = [&read](std::string& value) {
    const char* text = nullptr;
    read('s', text);
    value = text;
  };
  check(sd_bus_message_enter_container(message, 'r', COMMAND_CONTENT));
  int write = 0;
  read('u', command.id), read('t', command.parameterId), read('b', write), read('u', command.address);
  command.write = write;
  char type = 0;
  const char* signature = nullptr;
  check(sd_bus_message_peek_type(message, &type, &signature));
  check(sd_bus_message_enter_container(message, 'v', signature));
  const bool known = [&]<std::size_t... KINDS>(std::index_sequence<KINDS...>) {
    return (readValue<KINDS>(message, signature, command.value) || ...);
  }
  (std::make_index_sequence<std::variant_size_v<Value>>());
  require(known, "a value has an unknown type");
  check(sd_bus_message_exit_container(message));
  read('i', command.origin), read('i', command.context), read('y', command.errorType), read('i', command.errorId);
  readText(command.errorText), read('u', command.delay), readText(command.label), read('u', command.tag);
  read('y', command.status), read('y', command.acei);
  check(sd_bus_message_exit_container(message));
}

class SdBus {
 public:
  using Node = Sensor;
  static constexpr bool SHARED = false;

  explicit SdBus(const std::string& address) {
    check(sd_bus_new(&bus_));
    check(sd_bus_set_address(bus_, address.c_str()));
    check(sd_bus_set_bus_client(bus_, 1));
    check(sd_bus_start(bus_));
    const char* name = nullptr;
    check(sd_bus_get_unique_name(bus_, &name));
  }
  ~SdBus() { sd_bus_flush_close_unref(bus_); }
  SdBus(const SdBus&) = delete;

  static Commands prepare(Commands&& commands) { return std::move(commands); }

  void encode(const Commands& commands) {
    Message call = build(commands);
    check(sd_bus_message_seal(call, ++serial_, 0));
  }

  void send(const Commands& commands) {
    Message call = build(commands), reply;
    check(sd_bus_call(bus_, call, 0, nullptr, &reply));
  }
  void add(const Commands& commands) { send(commands); }

  void encodeReport(const Commands& commands) {
    Message call = report(commands);
    check(sd_bus_message_seal(call, ++serial_, 0));
  }
  void sendReport(const Commands& commands) {
    Message call = report(commands), reply;
    check(sd_bus_call(bus_, call, 0, nullptr, &reply));
  }

  Message receiveAdd(const Commands& commands) {
    Message call = build(commands);
    check(sd_bus_message_seal(call, ++serial_, 0));
    check(sd_bus_message_rewind(call, 1));
    return call;
  }
  static std::vector<Command> decodeAdd(sd_bus_message* message) {
    std::vector<Command> commands;
    check(sd_bus_message_skip(message, "(o)(s)"));
    check(sd_bus_message_enter_container(message, 'a', COMMAND_SIGNATURE));
    while (!sd_bus_message_at_end(message, 0)) readCommand(message, commands.emplace_back());
    check(sd_bus_message_exit_container(message));
    return commands;
  }
  static bool same(const Command& command, const Command& expected) { return command == expected; }

  Message receive(std::uint32_t iteration, std::uint32_t count) {
    Message message;
    check(sd_bus_message_new_method_call(bus_, &message, HOST, NODE_PATH, NODE_INTERFACE, "nodes"));
    check(sd_bus_message_open_container(message, 'a', SENSOR_SIGNATURE));
    for (std::uint32_t i = 0; i < count; ++i) {
      const Sensor node = sensor(iteration, i);
      check(sd_bus_message_open_container(message, 'r', SENSOR_CONTENT));
      check(sd_bus_message_append(message, "uyqy", node.address, node.nodeClass, node.nodeType, node.manufacturer));
      check(sd_bus_message_append_array(message, 'y', node.first.data(), node.first.size()));
      check(sd_bus_message_append_array(message, 'y', node.second.data(), node.second.size()));
      check(sd_bus_message_append_array(message, 'y', node.third.data(), node.third.size()));
      check(sd_bus_message_append(message, "tyuuyqqyyyyyqb", node.stamp, node.state, node.extra, node.backbone,
                                  node.parameterType, node.minimum, node.maximum, node.scale, node.resolution,
                                  node.resolutionScale, node.mode, node.events, node.period, int{node.listening}));
      check(sd_bus_message_close_container(message));
    }
    check(sd_bus_message_close_container(message));
    check(sd_bus_message_seal(message, iteration + 1, 0));
    check(sd_bus_message_rewind(message, 1));
    return message;
  }

  static Sensors decode(sd_bus_message* message) {
    Sensors nodes;
    check(sd_bus_message_enter_container(message, 'a', SENSOR_SIGNATURE));
    while (!sd_bus_message_at_end(message, 0)) {
      nodes.push_back(std::make_unique<Sensor>());
      readSensor(message, *nodes.back());
    }
    check(sd_bus_message_exit_container(message));
    return nodes;
  }

  bool call() {
    Message reply;
    int yes = 0;
    check(sd_bus_call_method(bus_, HOST, BOARD_PATH, BOARD_INTERFACE, "hardreset", nullptr, &reply, nullptr));
    check(sd_bus_message_read(reply, "b", &yes));
    return yes;
  }

  Sensors list() {
    Message reply;
    check(sd_bus_call_method(bus_, HOST, NODE_PATH, NODE_INTERFACE, "getnodes", nullptr, &reply, nullptr));
    return decode(reply);
  }

  void signals(std::uint32_t count, std::function<void(const Sensor&)> use) {
    if (!use_) check(sd_bus_match_signal(bus_, nullptr, HOST, NODE_PATH, NODE_INTERFACE, "modified", modified, this));
    use_ = std::move(use);
    left_ = count;
    Message reply;
    check(sd_bus_call_method(bus_, HOST, NODE_PATH, NODE_INTERFACE, "flood", nullptr, &reply, "u", count));
    run();
  }

  void calls(std::uint32_t count, std::uint32_t width) {
    left_ = toBegin_ = count;
    while (width--) begin();
    run();
  }

  static bool same(const Sensor& node, const Sensor& expected) { return node == expected; }

 private:
  Message build(const Commands& commands) {
    Message call;
    check(sd_bus_message_new_method_call(bus_, &call, HOST, COMMAND_PATH, COMMAND_INTERFACE, "add"));
    check(sd_bus_message_append(call, "(o)(s)", ORIGINATOR_PATH, commands.group.c_str()));
    check(sd_bus_message_open_container(call, 'a', COMMAND_SIGNATURE));
    for (const Command& command : commands.list) appendCommand(call, command);
    check(sd_bus_message_close_container(call));
    return call;
  }

  Message report(const Commands& commands) {
    Message call;
    check(sd_bus_message_new_method_call(bus_, &call, HOST, ORIGINATOR_PATH, REPORT_INTERFACE, "progress"));
    appendCommand(call, commands.list.front());
    check(sd_bus_message_append(call, "(s)i", commands.group.c_str(), 1));
    return call;
  }

  void run() {
    while (left_) {
      const int worked = sd_bus_process(bus_, nullptr);
      check(worked);
      if (!worked) check(sd_bus_wait(bus_, UINT64_MAX));
    }
  }

  void begin() {
    --toBegin_;
    check(sd_bus_call_method_async(bus_, nullptr, HOST, BOARD_PATH, BOARD_INTERFACE, "hardreset", answered, this,
                                   nullptr));
  }

  static int answered(sd_bus_message* reply, void* self, sd_bus_error*) {
    auto& peer = *static_cast<SdBus*>(self);
    int yes = 0;
    check(sd_bus_message_read(reply, "b", &yes));
    require(yes, "the answer to a call was no");
    if (peer.toBegin_) peer.begin();
    --peer.left_;
    return 0;
  }

  static int modified(sd_bus_message* message, void* self, sd_bus_error*) {
    auto& peer = *static_cast<SdBus*>(self);
    Sensor node{};
    std::uint8_t action = 0;
    readSensor(message, node);
    check(sd_bus_message_read(message, "y", &action));
    peer.use_(node);
    --peer.left_;
    return 0;
  }

  sd_bus* bus_ = nullptr;
  std::uint64_t serial_ = 0;
  std::uint32_t left_ = 0, toBegin_ = 0;
  std::function<void(const Sensor&)> use_;
};

}  // namespace Peers

int main(int argc, char** argv) { return Peers::run<Peers::SdBus>(argc, argv); }
