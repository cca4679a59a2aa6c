// The peer of GDBus. It builds and reads each record as a GVariant with one format, and byte arrays as fixed arrays.
#include <gio/gio.h>

#include <benchmarks/peers/Peer.h>

namespace Peers {

void check(GError* error) {
  if (!error) return;
  const std::string text = error->message;
  g_error_free(error);
  throw std::runtime_error(text);
}

/// A reference to a GObject or a GVariant.
template <class T, void (*RELEASE)(T*)>
class Owned {
 public:
  explicit Owned(T* object) : object_(object) {}
  Owned(Owned&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ~Owned() {
    if (object_) RELEASE(object_);
  }
  operator T*() const { return object_; }

 private:
  T* object_;
};
using Variant = Owned<GVariant, g_variant_unref>;
inline void release(GDBusMessage* message) { g_object_unref(message); }
using Message = Owned<GDBusMessage, release>;

void readSensor(GVariant* record, Sensor& node) {
  GVariant* blocks[3];
  gboolean listening = false;
  guint64 stamp = 0;
  g_variant_get(record, "(uyqy@ay@ay@aytyuuyqqyyyyyqb)", &node.address, &node.nodeClass, &node.nodeType,
                &node.manufacturer, &blocks[0], &blocks[1], &blocks[2], &stamp, &node.state, &node.extra,
                &node.backbone, &node.parameterType, &node.minimum, &node.maximum, &node.scale, &node.resolution,
                &node.resolutionScale, &node.mode, &node.events, &node.period, &listening);
  node.stamp = stamp;
  node.listening = listening;
  const auto block = [](GVariant* from, auto& to) {
    gsize size = 0;
    const void* bytes = g_variant_get_fixed_array(from, &size, 1);
    require(size == to.size(), "an identity has another size");
    std::memcpy(to.data(), bytes, size);
    g_variant_unref(from);
  };
  block(blocks[0], node.first), block(blocks[1], node.second), block(blocks[2], node.third);
}

Sensors readSensors(GVariant* body) {
  require(g_variant_is_of_type(body, G_VARIANT_TYPE("(a(uyqyayayaytyuuyqqyyyyyqb))")), "a list has another signature");
  const Variant list(g_variant_get_child_value(body, 0));
  Sensors nodes;
  GVariantIter element;
  g_variant_iter_init(&element, list);
  while (GVariant* record = g_variant_iter_next_value(&element)) {
    const Variant owned(record);
    nodes.push_back(std::make_unique<Sensor>());
    readSensor(owned, *nodes.back());
  }
  return nodes;
}

GVariant* makeValue(const Value& from) {
  return std::visit(
      [signature = VALUE_SIGNATURES[from.index()]]<class T>(const T& value) {
        if constexpr (std::is_same_v<T, Bytes>)
          return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, value.data(), value.size(), 1);
        else if constexpr (std::is_same_v<T, std::string>)
          return g_variant_new_string(value.c_str());
        else if constexpr (std::is_same_v<T, bool>)
          return g_variant_new_boolean(value);
        else
          return g_variant_new(signature, value);
      },
      from);
}

class GDBus {
 public:
  using Node = Sensor;
  static constexpr bool SHARED = true;

  explicit GDBus(const std::string& address) {
    GError* error = nullptr;
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    bus_ = g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, nullptr, &error);
    Peers::check(error);
  }
  ~GDBus() { g_object_unref(bus_); }
  GDBus(const GDBus&) = delete;

  static Commands prepare(Commands&& commands) { return std::move(commands); }

  void encode(const Commands& commands) {
    const Message call(g_dbus_message_new_method_call(HOST, COMMAND_PATH, COMMAND_INTERFACE, "add"));
    g_dbus_message_set_body(call, build(commands));
    g_dbus_message_set_serial(call, ++serial_);
    gsize size = 0;
    GError* error = nullptr;
    g_free(g_dbus_message_to_blob(call, &size, G_DBUS_CAPABILITY_FLAGS_NONE, &error));
    Peers::check(error);
  }

  void send(const Commands& commands) { callAndWait(COMMAND_PATH, COMMAND_INTERFACE, "add", build(commands)); }
  void add(const Commands& commands) { send(commands); }

  static std::string receive(std::uint32_t iteration, std::uint32_t count) { return nodeReply(iteration, count); }
  static Sensors decode(std::string& bytes) {
    GError* error = nullptr;
    const Message message(g_dbus_message_new_from_blob(reinterpret_cast<guchar*>(bytes.data()), bytes.size(),
                                                       G_DBUS_CAPABILITY_FLAGS_NONE, &error));
    Peers::check(error);
    return readSensors(g_dbus_message_get_body(message));
  }

  bool call() {
    const Variant reply = callAndWait(BOARD_PATH, BOARD_INTERFACE, "hardreset", nullptr);
    gboolean yes = false;
    g_variant_get(reply, "(b)", &yes);
    return yes;
  }

  Sensors list() { return readSensors(callAndWait(NODE_PATH, NODE_INTERFACE, "getnodes", nullptr)); }

  void signals(std::uint32_t count, std::function<void(const Sensor&)> use) {
    if (!use_)
      g_dbus_connection_signal_subscribe(bus_, HOST, NODE_INTERFACE, "modified", NODE_PATH, nullptr,
                                         G_DBUS_SIGNAL_FLAGS_NONE, modified, this, nullptr);
    use_ = std::move(use);
    left_ = count;
    callAndWait(NODE_PATH, NODE_INTERFACE, "flood", g_variant_new("(u)", count));
    while (left_) g_main_context_iteration(nullptr, true);
  }

  static bool same(const Sensor& node, const Sensor& expected) { return node == expected; }

 private:
  Variant callAndWait(const char* path, const char* interface, const char* member, GVariant* arguments) {
    GError* error = nullptr;
    GVariant* reply = g_dbus_connection_call_sync(bus_, HOST, path, interface, member, arguments, nullptr,
                                                  G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    Peers::check(error);
    return Variant(reply);
  }

  static GVariant* build(const Commands& commands) {
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE("a(utbuviiyisusuyy)"));
    for (const Command& command : commands.list)
      g_variant_builder_add(&list, COMMAND_SIGNATURE, command.id, guint64{command.parameterId}, int{command.write},
                            command.address, makeValue(command.value), command.origin, command.context,
                            command.errorType, command.errorId, command.errorText.c_str(), command.delay,
                            command.label.c_str(), command.tag, command.status, command.acei);
    return g_variant_new("((o)(s)a(utbuviiyisusuyy))", ORIGINATOR_PATH, commands.group.c_str(), &list);
  }

  static void modified(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* body,
                       void* self) {
    auto& peer = *static_cast<GDBus*>(self);
    const Variant record(g_variant_get_child_value(body, 0));
    Sensor node{};
    readSensor(record, node);
    guchar action = 0;
    g_variant_get_child(body, 1, "y", &action);
    peer.use_(node);
    --peer.left_;
  }

  GDBusConnection* bus_ = nullptr;
  std::uint32_t serial_ = 0, left_ = 0;
  std::function<void(const Sensor&)> use_;
};

}  // namespace Peers

int main(int argc, char** argv) { return Peers::run<Peers::GDBus>(argc, argv); }
