// The peer of libdbus-1. It appends and reads byte arrays as fixed arrays. Demarshalling checks a received message.
#include <dbus/dbus.h>

#include <benchmarks/peers/Peer.h>

namespace Peers {

void check(bool done) { require(done, "libdbus has failed"); }

class Message {
 public:
  explicit Message(DBusMessage* message) : message_(message) { check(message); }
  Message(Message&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}
  ~Message() {
    if (message_) dbus_message_unref(message_);
  }
  operator DBusMessage*() const { return message_; }

 private:
  DBusMessage* message_;
};

struct Error : DBusError {
  Error() { dbus_error_init(this); }
  ~Error() { dbus_error_free(this); }
  void check() const {
    if (dbus_error_is_set(this)) throw std::runtime_error(message);
  }
};

void readSensor(DBusMessageIter* at, Sensor& node) {
  DBusMessageIter fields;
  dbus_message_iter_recurse(at, &fields);
  const auto read = [&fields](auto& value) {
    dbus_message_iter_get_basic(&fields, &value);
    dbus_message_iter_next(&fields);
  };
  const auto block = [&fields](auto& to) {
    DBusMessageIter elements;
    const std::uint8_t* bytes = nullptr;
    int size = 0;
    dbus_message_iter_recurse(&fields, &elements);
    dbus_message_iter_get_fixed_array(&elements, &bytes, &size);
    require(static_cast<std::size_t>(size) == to.size(), "an identity has another size");
    std::memcpy(to.data(), bytes, to.size());
    dbus_message_iter_next(&fields);
  };
  read(node.address), read(node.nodeClass), read(node.nodeType), read(node.manufacturer);
  block(node.first), block(node.second), block(node.third);
  read(node.stamp), read(node.state), read(node.extra), read(node.backbone);
  read(node.parameterType), read(node.minimum), read(node.maximum), read(node.scale), read(node.resolution);
  read(node.resolutionScale), read(node.mode), read(node.events), read(node.period);
  dbus_bool_t listening = false;
  read(listening);
  node.listening = listening;
}

Sensors readSensors(DBusMessage* message) {
  Sensors nodes;
  DBusMessageIter arguments, element;
  require(dbus_message_has_signature(message, "a(uyqyayayaytyuuyqqyyyyyqb)"), "a list has another signature");
  dbus_message_iter_init(message, &arguments);
  dbus_message_iter_recurse(&arguments, &element);
  for (; dbus_message_iter_get_arg_type(&element) == DBUS_TYPE_STRUCT; dbus_message_iter_next(&element)) {
    nodes.push_back(std::make_unique<Sensor>());
    readSensor(&element, *nodes.back());
  }
  return nodes;
}

class LibDBus {
 public:
  using Node = Sensor;
  static constexpr bool SHARED = true;

  explicit LibDBus(const std::string& address) {
    check(dbus_threads_init_default());
    Error error;
    bus_ = dbus_connection_open_private(address.c_str(), &error);
    error.check();
    dbus_connection_set_exit_on_disconnect(bus_, false);
    dbus_bus_register(bus_, &error);
    error.check();
  }
  ~LibDBus() {
    dbus_connection_close(bus_);
    dbus_connection_unref(bus_);
  }
  LibDBus(const LibDBus&) = delete;

  static Commands prepare(Commands&& commands) { return std::move(commands); }

  void encode(const Commands& commands) {
    Message call = build(commands);
    dbus_message_set_serial(call, ++serial_);
    dbus_message_lock(call);
  }

  void send(const Commands& commands) { callAndWait(build(commands)); }
  void add(const Commands& commands) { send(commands); }

  static std::string receive(std::uint32_t iteration, std::uint32_t count) { return nodeReply(iteration, count); }
  static Sensors decode(const std::string& bytes) {
    Error error;
    const Message message(dbus_message_demarshal(bytes.data(), static_cast<int>(bytes.size()), &error));
    return readSensors(message);
  }

  bool call() {
    const Message reply = callAndWait(makeCall(BOARD_PATH, BOARD_INTERFACE, "hardreset"));
    dbus_bool_t yes = false;
    Error error;
    check(dbus_message_get_args(reply, &error, DBUS_TYPE_BOOLEAN, &yes, DBUS_TYPE_INVALID));
    return yes;
  }

  Sensors list() { return readSensors(callAndWait(makeCall(NODE_PATH, NODE_INTERFACE, "getnodes"))); }

  void signals(std::uint32_t count, const std::function<void(const Sensor&)>& use) {
    if (!std::exchange(subscribed_, true)) {
      Error error;
      dbus_bus_add_match(bus_, MODIFIED_RULE, &error);
      error.check();
    }
    Message call = makeCall(NODE_PATH, NODE_INTERFACE, "flood");
    check(dbus_message_append_args(call, DBUS_TYPE_UINT32, &count, DBUS_TYPE_INVALID));
    callAndWait(std::move(call));
    while (count) {
      DBusMessage* next = dbus_connection_pop_message(bus_);
      if (!next) {
        check(dbus_connection_read_write(bus_, -1));
        continue;
      }
      const Message message(next);
      if (!dbus_message_is_signal(message, NODE_INTERFACE, "modified")) continue;
      require(dbus_message_has_signature(message, "(uyqyayayaytyuuyqqyyyyyqb)y"), "a signal has another signature");
      DBusMessageIter arguments;
      dbus_message_iter_init(message, &arguments);
      Sensor node{};
      readSensor(&arguments, node);
      std::uint8_t action = 0;
      dbus_message_iter_next(&arguments);
      dbus_message_iter_get_basic(&arguments, &action);
      use(node);
      --count;
    }
  }

  static bool same(const Sensor& node, const Sensor& expected) { return node == expected; }

 private:
  static Message makeCall(const char* path, const char* interface, const char* member) {
    return Message(dbus_message_new_method_call(HOST, path, interface, member));
  }

  Message callAndWait(const Message& call) {
    Error error;
    DBusMessage* reply = dbus_connection_send_with_reply_and_block(bus_, call, -1, &error);
    error.check();
    return Message(reply);
  }

  Message build(const Commands& commands) {
    Message call = makeCall(COMMAND_PATH, COMMAND_INTERFACE, "add");
    DBusMessageIter arguments, list, fields;
    dbus_message_iter_init_append(call, &arguments);
    const auto append = [](DBusMessageIter& at, int type, const auto& value) {
      check(dbus_message_iter_append_basic(&at, type, &value));
    };
    const auto single = [&](int type, const char* value) {
      check(dbus_message_iter_open_container(&arguments, DBUS_TYPE_STRUCT, nullptr, &fields));
      append(fields, type, value);
      check(dbus_message_iter_close_container(&arguments, &fields));
    };
    single(DBUS_TYPE_OBJECT_PATH, ORIGINATOR_PATH);
    single(DBUS_TYPE_STRING, commands.group.c_str());
    check(dbus_message_iter_open_container(&arguments, DBUS_TYPE_ARRAY, COMMAND_SIGNATURE, &list));
    for (const Command& command : commands.list) {
      check(dbus_message_iter_open_container(&list, DBUS_TYPE_STRUCT, nullptr, &fields));
      append(fields, DBUS_TYPE_UINT32, command.id);
      append(fields, DBUS_TYPE_UINT64, command.parameterId);
      append(fields, DBUS_TYPE_BOOLEAN, dbus_bool_t{command.write});
      append(fields, DBUS_TYPE_UINT32, command.address);
      DBusMessageIter value;
      const char* signature = VALUE_SIGNATURES[command.value.index()];
      check(dbus_message_iter_open_container(&fields, DBUS_TYPE_VARIANT, signature, &value));
      std::visit(
          [&]<class T>(const T& content) {
            if constexpr (std::is_same_v<T, Bytes>) {
              DBusMessageIter elements;
              const std::uint8_t* bytes = content.data();
              check(dbus_message_iter_open_container(&value, DBUS_TYPE_ARRAY, "y", &elements));
              check(dbus_message_iter_append_fixed_array(&elements, DBUS_TYPE_BYTE, &bytes,
                                                         static_cast<int>(content.size())));
              check(dbus_message_iter_close_container(&value, &elements));
            } else if constexpr (std::is_same_v<T, std::string>) {
              append(value, DBUS_TYPE_STRING, content.c_str());
            } else if constexpr (std::is_same_v<T, bool>) {
              append(value, DBUS_TYPE_BOOLEAN, dbus_bool_t{content});
            } else {
              append(value, *signature, content);
            }
          },
          command.value);
      check(dbus_message_iter_close_container(&fields, &value));
      append(fields, DBUS_TYPE_INT32, command.origin);
      append(fields, DBUS_TYPE_INT32, command.context);
      append(fields, DBUS_TYPE_BYTE, command.errorType);
      append(fields, DBUS_TYPE_INT32, command.errorId);
      append(fields, DBUS_TYPE_STRING, command.errorText.c_str());
      append(fields, DBUS_TYPE_UINT32, command.delay);
      append(fields, DBUS_TYPE_STRING, command.label.c_str());
      append(fields, DBUS_TYPE_UINT32, command.tag);
      append(fields, DBUS_TYPE_BYTE, command.status);
      append(fields, DBUS_TYPE_BYTE, command.acei);
      check(dbus_message_iter_close_container(&list, &fields));
    }
    check(dbus_message_iter_close_container(&arguments, &list));
    return call;
  }

  DBusConnection* bus_ = nullptr;
  std::uint32_t serial_ = 0;
  bool subscribed_ = false;
};

}  // namespace Peers

int main(int argc, char** argv) { return Peers::run<Peers::LibDBus>(argc, argv); }
